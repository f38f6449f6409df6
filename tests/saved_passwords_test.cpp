// The dialog that deletes saved passwords, against the configuration store and the software provider.
#include "pages/DialogDeletePasswords.h"

#include "softcsp/dialogs/resource.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

const std::wstring kUser = L"\\local\\KeyDevices\\passwords", kComputer = L"\\global\\KeyDevices\\passwords";

// Every test begins and ends without the sections.
struct SavedPasswordsDialog : SettingsTest {
    SavedPasswordsDialog() { Clear(); }
    ~SavedPasswordsDialog() override { Clear(); }
    static void Clear() {
        for (const std::wstring& section : {kUser, kComputer}) support_registry_delete_section(section.c_str());
    }
    // A section with an entry for each letter: "p" a saved password, others the records of removable carriers.
    static void Put(const std::wstring& section, const std::wstring& entries) {
        support_registry_put_section(section.c_str());
        for (const wchar_t entry : entries) support_registry_put_section((section + L"\\" + entry).c_str());
        if (entries.find(L'p') < entries.size()) support_registry_put_long((section + L"\\p\\passwd").c_str(), 1);
    }
    static void PutAll() {
        for (const std::wstring& section : {kUser, kComputer}) Put(section, L"aбpz");
    }
    static bool Exists(const std::wstring& path) {
        DWORD rights = kRightRemove;
        return support_registry_check_access(path.c_str(), &rights) == 0;
    }
    // The entries that there are of the user's section, then of the computer's; "none" without the section.
    static std::wstring Left() {
        std::wstring left;
        for (const std::wstring& section : {kUser, kComputer}) {
            left += section == kUser ? L"" : L", ";
            if (!Exists(section)) left += L"none";
            for (const wchar_t entry : std::wstring(L"aбpz"))
                if (Exists(section + L"\\" + entry)) left += entry;
        }
        return left;
    }
    // What the boxes show at first and after each click: the user's and the computer's passwords, then their media.
    Texts Click(std::vector<UINT> clicked, UINT button = IDCANCEL) {
        Texts shown;
        RunDialog<CDialogDeletePasswords>([&](HWND dialog) {
            const std::vector<UINT> all = {IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER, IDC_PASSWORDS_USER_MEDIA,
                                           IDC_PASSWORDS_COMPUTER_MEDIA};
            shown.push_back(Shown(dialog, all));
            for (const UINT box : clicked) {
                Ui::Click(dialog, box);
                shown.push_back(Shown(dialog, all));
            }
            Ui::Click(dialog, button);
        });
        return shown;
    }
};

TEST_F(SavedPasswordsDialog, OffersWhatThereIsAndCouplesTheBoxes) {
    EXPECT_EQ(Click({}), Texts{L"off disabled, off disabled, off disabled, off disabled"}) << "no sections";
    Put(kUser, L"p");
    Put(kComputer, L"");
    EXPECT_EQ(Click({IDC_PASSWORDS_USER}),
              (Texts{L"off, off, off disabled, off disabled", L"on, off, off disabled, off disabled"}));
    Put(kComputer, L"ap");
    {
        const Denied denied(kComputer);
        EXPECT_EQ(Click({}), Texts{L"off, off disabled, off disabled, off disabled"});
    }
    Put(kUser, L"z");
    EXPECT_EQ(Click({IDC_PASSWORDS_USER, IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER, IDC_PASSWORDS_USER_MEDIA}),
              (Texts{L"off, off, off, off", L"on, off, on disabled, off", L"off, off, on, off",
                     L"off, on, on, on disabled", L"off, on, off, on disabled"}));
    EXPECT_EQ(Left(), L"pz, ap") << "cancelled";
}

// Which code it is that ends a search is the library's own affair, but not that of a function which it lacks.
TEST_F(SavedPasswordsDialog, KnowsTheEndOfASearchByTheSectionsOwn) {
    static DWORD end;
    static DWORD (*search)(HANDLE, HANDLE*);
    const UniqueModule library(LoadLibraryW(L"kvsuprt.dll"));
    search = reinterpret_cast<DWORD (*)(HANDLE, HANDLE*)>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "support_registry_search_next")));
    const LibraryFunction next(
        "support_registry_search_next", +[](HANDLE of, HANDLE* entry) {
            const DWORD error = search(of, entry);
            return error == ERROR_NO_MORE_ITEMS ? end : error;
        });
    ForgetSupportFunctions();
    for (const auto& [code, left] :
         {std::pair{DWORD{ERROR_FILE_NOT_FOUND}, L"p, aбpz"}, {kFunctionMissing, L"aбpz, aбpz"}}) {
        end = code;
        PutAll();
        Click({IDC_PASSWORDS_USER_MEDIA}, IDOK);
        EXPECT_EQ(Left(), left) << code;
    }
    ForgetSupportFunctions();
}

TEST_F(SavedPasswordsDialog, DeletesWhatIsChecked) {
    const struct {
        std::vector<UINT> checked;
        const wchar_t* left;
    } cases[] = {{{}, L"aбpz, aбpz"},
                 {{IDC_PASSWORDS_USER}, L"none, aбpz"},
                 {{IDC_PASSWORDS_COMPUTER}, L"aбpz, none"},
                 {{IDC_PASSWORDS_USER_MEDIA}, L"p, aбpz"},
                 {{IDC_PASSWORDS_COMPUTER_MEDIA, IDC_PASSWORDS_USER}, L"none, p"}};
    for (const auto& c : cases) {
        PutAll();
        Click(c.checked, IDOK);
        EXPECT_EQ(Left(), c.left);
    }
    Clear();
    Put(kUser, L"aбpz");
    const Denied denied(kUser + L"\\б");
    Click({IDC_PASSWORDS_USER_MEDIA}, IDOK);
    EXPECT_EQ(Left(), L"бp, none") << "one that can't be deleted is no reason to keep the others";
}

// A password is lost only to those who asked for it.
TEST_F(SavedPasswordsDialog, SurvivesEveryFailure) {
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::wstring left = Left();
        PutAll();
        if (fault.point == Fault::kNone) return left == L"none, p" ? "" : "deletes less";
        return left.ends_with(L"p") || left.ends_with(L"pz") ? "" : "deletes a password";
    };
    PutAll();
    const auto change = [&] { Click({IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER_MEDIA}, IDOK); };
    Faults("saved passwords", change, inspect);
}

TEST_F(SavedPasswordsDialog, MakesTheProviderForgetItsOwn) {
    const std::wstring name = L"С сохраненным паролем";
    const LoadedProvider held;
    ASSERT_EQ(RunTool(L"create \"" + name + L"\" --keys x --password 1234"), 0u);
    const auto load = [&](DWORD flags, std::vector<ModalScript::Step> steps = {}) {
        const ModalScript script(std::move(steps));
        CCryptProvContext context;
        DWORD loaded = 0, size = sizeof loaded;
        return ErrorOf(!!context.Acquire(flags, name.c_str(), nullptr, 75) &&
                       CryptGetProvParam(context.Get(), 109, reinterpret_cast<BYTE*>(&loaded), &size, 0));
    };
    const auto save = [](HWND dialog) {
        Ui::Type(dialog, IDC_PASSWORD, L"1234");
        for (const UINT button : {UINT{IDC_SAVE}, UINT{IDOK}}) Ui::Click(dialog, button);
    };
    EXPECT_EQ(load(0, {save}), 0);
    EXPECT_EQ(load(CRYPT_SILENT), 0);
    RunDialog<CDialogDeletePasswords>([](HWND dialog) {
        EXPECT_EQ(LOWORD(SendMessageW(dialog, DM_GETDEFID, 0, 0)), IDCANCEL);
        for (const UINT button : {UINT{IDC_PASSWORDS_USER}, UINT{IDOK}}) Ui::Click(dialog, button);
    });
    EXPECT_EQ(load(CRYPT_SILENT), NTE_SILENT_CONTEXT);
    RunTool(L"remove \"" + name + L"\"");
}

}  // namespace
