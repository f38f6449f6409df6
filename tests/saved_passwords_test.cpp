// The dialog that deletes saved passwords, against the configuration store and the software provider.
#include "pages/DialogDeletePasswords.h"

#include "pages/PropPageConfigCSPServices.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

const std::wstring kUser = L"\\local\\KeyDevices\\passwords", kComputer = L"\\global\\KeyDevices\\passwords";

// Every test begins and ends without the sections.
struct SavedPasswordsDialog : SettingsPageTest<CPropPageConfigCSPServices> {
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
    // What there is of both sections.
    static std::wstring Left() {
        std::wstring left;
        for (const wchar_t* entry : {L"", L"\\a", L"\\б", L"\\p", L"\\z"}) {
            for (const std::wstring& section : {kUser, kComputer}) {
                DWORD rights = kRightRemove;
                const bool exists = support_registry_check_access((section + entry).c_str(), &rights) == 0;
                left += exists ? L'y' : L'n';
            }
        }
        return left;
    }
    Texts Show(const std::vector<UINT>& clicked) {
        return ClickThrough<CDialogDeletePasswords>(clicked, {1130, 1131, 1132, 1133});
    }
};

TEST_F(SavedPasswordsDialog, OffersWhatThereIsAndCouplesTheBoxes) {
    EXPECT_EQ(Show({IDCANCEL}), Texts{L"(-)(-)(-)(-)"});  // no sections
    Put(kUser, L"p");
    Put(kComputer, L"");
    EXPECT_EQ(Show({1130, IDCANCEL}), (Texts{L"--(-)(-)", L"x-(-)(-)"}));
    Put(kComputer, L"ap");
    RunTool(L"store deny " + kComputer);
    EXPECT_EQ(Show({IDCANCEL}), Texts{L"-(-)(-)(-)"});
    RunTool(L"store allow " + kComputer);
    Put(kUser, L"z");
    EXPECT_EQ(Show({1130, 1130, 1131, 1132, 1131, 1130, IDCANCEL}),
              (Texts{L"----", L"x-(x)-", L"--x-", L"-xx(x)", L"-x-(x)", L"---x", L"x-(x)x"}));
    EXPECT_EQ(Left(), L"yynynnyyyn");
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
         {std::pair{DWORD{ERROR_FILE_NOT_FOUND}, L"yynynyyyny"}, {kFunctionMissing, L"yyyyyyyyyy"}}) {
        end = code;
        for (const std::wstring& section : {kUser, kComputer}) Put(section, L"aбpz");
        Show({1132, IDOK});
        EXPECT_EQ(Left(), left) << code;
    }
    ForgetSupportFunctions();
}

TEST_F(SavedPasswordsDialog, DeletesWhatIsChecked) {
    const std::vector<UINT> clicked[] = {{IDOK}, {1130, IDOK}, {1131, IDOK}, {1132, IDOK}, {1133, 1130, IDOK}};
    const wchar_t* left[] = {L"yyyyyyyyyy", L"nynynynyny", L"ynynynynyn", L"yynynyyyny", L"nynnnnnynn"};
    for (std::size_t i = 0; i < std::size(clicked); ++i) {
        for (const std::wstring& section : {kUser, kComputer}) Put(section, L"aбpz");
        Show(clicked[i]);
        EXPECT_EQ(Left(), left[i]);
    }
    Put(kUser, L"aбpz");
    const Denied denied(kUser + L"\\б");
    Show({1132, IDOK});
    EXPECT_EQ(Left(), L"yynnynyynn");
}

// A password is lost only to those who asked for it.
TEST_F(SavedPasswordsDialog, SurvivesEveryFailure) {
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::wstring left = Left();
        for (const std::wstring& section : {kUser, kComputer}) Put(section, L"apz");
        if (fault.point == Fault::kNone) return left == L"nynnnnnynn" ? "" : "deletes less";
        return left[7] == L'y' ? "" : "deletes a password";
    };
    inspect({});
    const auto change = [&] { Show({1130, 1133, IDOK}); };
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
        for (const UINT button : {1130, IDOK}) Ui::Click(dialog, button);
    });
    EXPECT_EQ(load(CRYPT_SILENT), NTE_SILENT_CONTEXT);
    RunTool(L"remove \"" + name + L"\"");
}

}  // namespace
