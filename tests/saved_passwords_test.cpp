// The dialog that deletes saved passwords, against the configuration store and the software provider.
#include "pages/DialogDeletePasswords.h"

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
    // A section with an entry for each letter: "я" a saved password, others the records of removable carriers.
    static void Put(const std::wstring& section, const std::wstring& entries) {
        support_registry_put_section(section.c_str());
        for (const wchar_t entry : entries) support_registry_put_section((section + L"\\" + entry).c_str());
        if (entries != L"z") support_registry_put_long((section + L"\\я\\passwd").c_str(), 1);
    }
    static void PutAll() {
        for (const std::wstring& section : {kUser, kComputer}) Put(section, L"azбя");
    }
    // The sections and entries that there are.
    static std::wstring Left() {
        std::wstring left;
        for (const auto& [section, name] : {std::pair{kUser, L"user:"}, {kComputer, L" computer:"}}) {
            std::vector<softcsp::StoreValue> entries;
            if (softcsp::Store().List(section.c_str(), entries) == 0) left += name;
            for (const auto& entry : entries) left += entry.name;
        }
        return left;
    }
    // What the boxes show in the end: the user's and the computer's passwords, then their media.
    std::wstring Click(const std::vector<UINT>& clicked, UINT button = IDCANCEL) {
        std::wstring shown;
        RunDialog<CDialogDeletePasswords>([&](HWND dialog) {
            ClickAll(dialog, clicked);
            shown = Shown(dialog, {IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER, IDC_PASSWORDS_USER_MEDIA,
                                   IDC_PASSWORDS_COMPUTER_MEDIA});
            Ui::Click(dialog, button);
        });
        return shown;
    }
};

TEST_F(SavedPasswordsDialog, OffersWhatThereIsAndCouplesTheBoxes) {
    EXPECT_EQ(Click({}), L"off disabled, off disabled, off disabled, off disabled") << "no sections";
    Put(kUser, L"я");
    EXPECT_EQ(Click({IDC_PASSWORDS_USER}), L"on, off disabled, off disabled, off disabled");
    Put(kUser, L"z");
    Put(kComputer, L"aя");
    EXPECT_EQ(Click({IDC_PASSWORDS_USER}), L"on, off, on disabled, off");
    EXPECT_EQ(Click({IDC_PASSWORDS_USER, IDC_PASSWORDS_USER}), L"off, off, on, off");
    const Denied denied(kComputer);
    EXPECT_EQ(Click({}), L"off, off disabled, off, off disabled");
    EXPECT_EQ(Left(), L"user:zя computer:aя") << "cancelled";
}

// The library may end a search with any code. The code of a missing function ends none.
TEST_F(SavedPasswordsDialog, KnowsTheEndOfASearchByTheSectionsOwn) {
    static DWORD end;
    static const UniqueModule library(LoadLibraryW(L"kvsuprt.dll"));
    static const auto search = reinterpret_cast<DWORD (*)(HANDLE, HANDLE*)>(
        reinterpret_cast<void*>(GetProcAddress(library.get(), "support_registry_search_next")));
    const LibraryFunction next(
        "support_registry_search_next", +[](HANDLE of, HANDLE* entry) {
            const DWORD error = search(of, entry);
            return error == ERROR_NO_MORE_ITEMS ? end : error;
        });
    for (const auto& [code, left] : {std::pair{DWORD{ERROR_FILE_NOT_FOUND}, L"user:я computer:azбя"},
                                     {kFunctionMissing, L"user:azбя computer:azбя"}}) {
        end = code;
        PutAll();
        Click({IDC_PASSWORDS_USER_MEDIA}, IDOK);
        EXPECT_EQ(Left(), left) << code;
    }
}

// A record that can't be deleted is no reason to keep the others.
TEST_F(SavedPasswordsDialog, DeletesWhatIsChecked) {
    const std::tuple<std::vector<UINT>, const wchar_t*, const wchar_t*> cases[] = {
        {{IDC_PASSWORDS_COMPUTER}, L"", L"user:azбя"},
        {{IDC_PASSWORDS_COMPUTER_MEDIA, IDC_PASSWORDS_USER}, L"", L" computer:я"},
        {{IDC_PASSWORDS_USER_MEDIA}, L"\\a", L"user:aя computer:azбя"}};
    for (const auto& [checked, kept, left] : cases) {
        PutAll();
        std::optional<Denied> denied;
        RunDialog<CDialogDeletePasswords>([&, clicked = checked, entry = kept](HWND dialog) {
            ClickAll(dialog, clicked);
            if (*entry) denied.emplace(kUser + entry);
            Ui::Click(dialog, IDOK);
        });
        EXPECT_EQ(Left(), left);
    }
}

// A password is lost only to those who asked for it.
TEST_F(SavedPasswordsDialog, SurvivesEveryFailure) {
    PutAll();
    const auto change = [&] { Click({IDC_PASSWORDS_USER, IDC_PASSWORDS_COMPUTER_MEDIA}, IDOK); };
    Faults("saved passwords", change, [&](const Fault& fault) -> std::string {
        const std::wstring left = Left();
        PutAll();
        if (fault.point == Fault::kNone) return left == L" computer:я" ? "" : "deletes less";
        return left.ends_with(L"я") ? "" : "deletes a password";
    });
}

}  // namespace
