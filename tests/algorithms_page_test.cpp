// The Algorithms page as a real window, against the software provider.
#include "pages/PropPageConfigCSPOID.h"

#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"

namespace {

constexpr UINT kType = IDC_ALGORITHMS_TYPE, kHash = IDC_ALGORITHMS_HASH, kDiffieHellman = IDC_ALGORITHMS_DIFFIE_HELLMAN;
const std::wstring kSection = L"\\config\\oid", kName = L"\\config\\{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}";

// The software provider has another name for each type. The panel opens both types by the stored
// name; the call is passed on without a name, so that it opens the second type too.
class AlgorithmsPage : public SettingsPageTest<CPropPageConfigCSPOID> {
  protected:
    AlgorithmsPage() {
        self = this;
        RunTool(L"store put " + kName + L" \"" + kProvider75 + L"\"");
    }
    ~AlgorithmsPage() override {
        for (const std::wstring& path : {kName, kSection}) RunTool(L"store del " + path);
    }
    static BOOL WINAPI Acquire(HCRYPTPROV* handle, LPCWSTR container, LPCWSTR name, DWORD type, DWORD flags) {
        EXPECT_EQ(flags, 0xF0004000);
        self->acquired.push_back(name == std::wstring(kProvider75) ? type : 0xBAD);
        const auto real = self->acquire.Original<decltype(Acquire)>();
        return real(handle, container, self->anyName ? nullptr : name, type, flags);
    }
    static LSTATUS WINAPI Open(HKEY root, LPCWSTR name, DWORD options, REGSAM access, HKEY* key) {
        for (const wchar_t type : self->hidden)
            if (name && std::wstring(name).ends_with(L"Type 07" + std::wstring(1, type))) return ERROR_FILE_NOT_FOUND;
        return self->open.Original<decltype(Open)>()(root, name, options, access, key);
    }
    static int Last(HWND page, UINT box) { return static_cast<int>(Ui::Items(page, box).size()) - 1; }

    static inline AlgorithmsPage* self;
    std::vector<DWORD> acquired;  // the types of the contexts
    std::wstring hidden;
    bool anyName = true;
    ImportPatch acquire{nullptr, "CryptAcquireContextW", &Acquire}, open{nullptr, "RegOpenKeyExW", &Open};
};

// A choice goes back to the provider for its type only, and is found again; until then it is lost with its type.
TEST_F(AlgorithmsPage, ChoicesGoBackToTheProvider) {
    Look([&](HWND page) {
        UINT box = kHash;
        for (const std::wstring list : {L"Digest", L"Cipher", L"Signature", L"Exchange"})
            EXPECT_EQ(Ui::Items(page, box++).at(0), list + L", set 1 (default)");
    });
    Run({[&](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             for (const int type : {1, 0}) {
                 Ui::Select(page, kType, type);
                 EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                 for (const bool modified : {true, false, true}) {  // from the first to the last item, and back
                     for (UINT box = kHash; box <= kDiffieHellman; ++box)
                         Ui::Select(page, box, Last(page, box) - Ui::Selected(page, box));
                     EXPECT_EQ(Ui::ApplyEnabled(sheet), modified);
                 }
             }
             Apply(sheet);
         },
         Modified(false)});
    Look([&](HWND page) {
        for (const int type : {1, 0}) {
            Ui::Select(page, kType, type);
            for (UINT box = kHash; box <= kDiffieHellman; ++box)
                EXPECT_EQ(Ui::Selected(page, box), type == 0 ? Last(page, box) : 0) << box;
        }
    });
}

TEST_F(AlgorithmsPage, WithoutAContextOrRightsNothingCanBeChosen) {
    const struct {
        std::wstring hidden;  // types without a key, by their last digits
        bool anyName, mayWrite;
        std::vector<DWORD> acquired;  // at the start and for each type
        bool lists, enabled;          // of the last type
    } cases[] = {{L"", false, true, {75, 75, 71}, false, false},
                 {L"", true, false, {75, 75, 71}, true, false},
                 {L"1", true, true, {75, 75}, true, true},
                 {L"5", true, true, {0, 0}, false, false},
                 {L"15", true, true, {DWORD(CB_ERR)}, false, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        hidden = c.hidden;
        anyName = c.anyName;
        acquired.clear();
        const Denied denied(c.mayWrite ? L"\\config\\none" : kSection);
        Look([&](HWND page) {
            for (int type = 0; type <= Last(page, kType); ++type) Ui::Select(page, kType, type);
            EXPECT_EQ(Ui::Enabled(page, kHash), c.enabled);
            EXPECT_EQ(Last(page, kHash) >= 0, c.lists);
            EXPECT_EQ(IsWindowEnabled(GetWindow(GetDlgItem(page, kHash), GW_HWNDPREV)) != FALSE, c.enabled) << "label";
        });
        EXPECT_EQ(acquired, c.acquired);
    }
}

// What fails leaves a box disabled, or the provider as it was. Nothing is reported.
TEST_F(AlgorithmsPage, FailuresAreSurvived) {
    const auto save = [&] {
        Run({[&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            if (Ui::Enabled(page, kHash)) Ui::Select(page, kHash, Last(page, kHash) - Ui::Selected(page, kHash));
            Ui::Press(sheet, PSBTN_OK);
        }});
    };
    Faults("algorithms page", save, [&](const Fault&) { return boxes.empty() ? "" : "reports a failure"; });
}

}  // namespace
