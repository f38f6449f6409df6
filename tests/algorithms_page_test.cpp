// The Algorithms page as a real window, against the software provider.
#include "pages/PropPageConfigCSPOID.h"

#include "csp/Providers.h"
#include "softcsp/common/Registry.h"
#include "tests/support/Provider.h"
#include "tests/support/SettingsPage.h"
#include "tests/support/SystemCalls.h"

namespace {

constexpr UINT kType = IDC_ALGORITHMS_TYPE, kHash = IDC_ALGORITHMS_HASH, kDiffieHellman = IDC_ALGORITHMS_DIFFIE_HELLMAN;
const std::wstring kSection = L"\\config\\oid", kName = L"\\config\\{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}",
                   kTypes = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type 0";

// The software provider has another name for each type. The panel opens both types by the stored
// name; the call is passed on without a name, so that it opens the second type too.
class AlgorithmsPage : public SettingsPageTest<CPropPageConfigCSPOID> {
  protected:
    AlgorithmsPage() { RunTool(L"store put " + kName + L" \"" + kProvider75 + L"\""); }
    ~AlgorithmsPage() override {
        for (const std::wstring& path : {kName, kSection}) RunTool(L"store del " + path);
    }
    static int Last(HWND page, UINT box) { return static_cast<int>(Ui::Items(page, box).size()) - 1; }

    std::vector<DWORD> acquired;  // the types of the contexts
    bool anyName = true;
    const SystemCalls calls{[this](SystemCalls::Call call) {
        if (call.name != "CryptAcquireContextW") return call();
        if (call.At<const wchar_t*>(2) == std::wstring(kProvider75)) acquired.push_back(static_cast<DWORD>(call.a[3]));
        if (anyName) call.a[2] = 0;
        return call();
    }};
};

// A choice goes back to the provider for its type only, and is found again; until then it is lost with its type.
TEST_F(AlgorithmsPage, ChoicesGoBackToTheProvider) {
    Run({[](HWND sheet) {
             const HWND page = Ui::Page(sheet);
             UINT first = kHash;
             for (const std::wstring list : {L"Digest", L"Cipher", L"Signature", L"Exchange"})
                 EXPECT_EQ(Ui::Items(page, first++).at(0), list + L", set 1 (default)");
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
        for (UINT box = kHash; box <= kDiffieHellman; ++box) EXPECT_EQ(Ui::Selected(page, box), Last(page, box)) << box;
        Ui::Select(page, kType, 1);
        for (UINT box = kHash; box <= kDiffieHellman; ++box) EXPECT_EQ(Ui::Selected(page, box), 0) << box;
    });
}

TEST_F(AlgorithmsPage, WithoutAContextOrRightsNothingCanBeChosen) {
    const std::pair<DWORD, std::wstring> types[] = {{75, *ReadProviderTypeName(75)}, {71, *ReadProviderTypeName(71)}};
    const struct {
        std::set<DWORD> nameless;     // types, which aren't listed
        std::vector<DWORD> acquired;  // at the start and for each type
        bool lists, enabled;          // of the last type
        bool anyName = true, mayWrite = true;
    } cases[] = {{{71, 75}, {DWORD(CB_ERR)}, false, false},
                 {{75}, {0, 0}, false, false},
                 {{71}, {75, 75}, true, true},
                 {{}, {75, 75, 71}, false, false, false},
                 {{}, {75, 75, 71}, true, false, true, false}};
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        for (const auto& [type, name] : types) {
            const std::wstring key = kTypes + std::to_wstring(type);
            softcsp::WriteValue(HKEY_LOCAL_MACHINE, key, L"TypeName", name);
            if (c.nameless.contains(type)) softcsp::RemoveValue(HKEY_LOCAL_MACHINE, key, L"TypeName");
        }
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
