// The wizards' pages as they appear, and the one on which the user names a container, as real windows against the
// software provider.
#include <gtest/gtest.h>

#include "applet/services/ErrorText.h"
#include "csp/Providers.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

const std::wstring kMain = kProvider75, kOther = kProvider71;

// A wizard of one page. Without `sources` it lists all providers and offers no way to find a container.
struct OnePageWizard : CPropertySheetWizardBase {
    explicit OnePageWizard(bool sources)
        : CPropertySheetWizardBase(nullptr, IDS_WIZARD_DELETE),
          page({IDS_WIZARD_DELETE, IDS_SELECT_TO_DELETE, sources, sources, sources}, state) {
        AddPage(page);
    }
    WizardState state;
    CWizPageSelectContainer page;
};

// A page's header, or the font of its title, then the sheet's default button and the control that has the focus.
std::wstring Appearance(HWND sheet) {
    const HWND page = Ui::Page(sheet);
    const auto& shown = static_cast<CPropertyPage*>(CWnd::FromHandlePermanent(page))->m_psp;
    const HWND title = GetDlgItem(page, IDC_REPORT_TITLE);  // both titles have this id
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(title, WM_GETFONT, 0, 0)), sizeof font, &font);
    const std::wstring header = shown.dwFlags & PSP_HIDEHEADER
                                    ? font.lfFaceName + std::wstring(L" ") + std::to_wstring(font.lfHeight)
                                    : shown.pszHeaderTitle + std::wstring(L"|") + shown.pszHeaderSubTitle;
    const auto defaultButton = LOWORD(SendMessageW(sheet, DM_GETDEFID, 0, 0));
    return header + L"|" + std::to_wstring(defaultButton) + L"|" + std::to_wstring(GetDlgCtrlID(GetFocus()));
}

using Selection = WizardTest;

// What the page shows: name, position of the provider, which of User and Computer.
std::wstring Shown(HWND sheet) {
    const HWND page = Ui::Page(sheet);
    return Ui::Text(page, IDC_SELECT_NAME) + L"|" + std::to_wstring(Ui::Selected(page, IDC_SELECT_PROVIDER)) +
           (IsDlgButtonChecked(page, IDC_SELECT_USER) ? L"|User" : L"") +
           (IsDlgButtonChecked(page, IDC_SELECT_COMPUTER) ? L"|Computer" : L"");
}

TEST_F(Selection, BeginsWithTheUsersContainersAndTheDefaultProvider) {
    for (const bool allowed : {true, false}) {
        std::optional<Denied> denied;
        if (!allowed) denied.emplace(L"\\global");
        Check({[&](HWND sheet) {
            EXPECT_EQ(Ui::Text(sheet) + Shown(sheet), L"Check private key container|0|User");
            EXPECT_EQ(Ui::Items(Ui::Page(sheet), IDC_SELECT_PROVIDER), (Texts{kMain, kOther}));
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_SELECT_COMPUTER), allowed);
        }});
    }
}

// Next, or Finish on a last page, is the default button in every state, and a page without input gives it the focus.
TEST_F(Selection, EveryPageHasItsHeaderItsDefaultButtonAndTheFocus) {
    const auto cancel = +[](const void*) -> void* { return nullptr; };
    const LibraryFunction store("CryptUIDlgSelectStoreW", cancel), certificate("CryptUIDlgSelectCertificateW", cancel);
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"x.cer", several = kData + L"several.p7b";
    RunTool(L"remove pages");
    EXPECT_EQ(RunTool(L"create pages --keys xs --exportable"), 0u);
    EXPECT_EQ(RunTool(L"certificate pages --key x --out \"" + path + L"\""), 0u);
    const auto is = [](const std::wstring& header, UINT button, UINT focus) {
        return header + L"|" + std::to_wstring(button) + L"|" + std::to_wstring(focus);
    };
    const auto name = [&](const std::wstring& purpose, UINT button) {
        return is(L"Private key container|Type" + purpose, button, IDC_SELECT_NAME);
    };
    const std::wstring either = L" or choose private key container",
                       install = L"Certificate to install|View and choose certificate to install",
                       into = L"Certificate store|Choose certificate store to install certificate",
                       check = name(either + L" to check", kNext), source = name(either + L" to copy", kNext),
                       target = name(L" private key container to copy to", kFinish),
                       view = name(either + L" for view certificates in this container", kNext),
                       link = name(either + L", corresponded to selected certificate", kNext),
                       file = is(L"Certificate file location|Type or choose installing certificate file location",
                                 kNext, IDC_FILE_NAME),
                       chosen = is(install, kNext, kNext), none = is(install, kNext, IDC_CERTIFICATE_BROWSE),
                       linked = is(into, kNext, kNext), title = L"Verdana Bold -16";
    Texts noted;
    const Step note = [&](HWND sheet) { noted.push_back(Appearance(sheet)); }, named = Type(L"pages"),
               empty = Type(L""), next = Press(PSBTN_NEXT), back = Press(PSBTN_BACK);
    const auto typed = [](const std::wstring& text) {
        return [=](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_FILE_NAME, text.c_str()); };
    };
    const Steps names = {note, named, note, empty, note};
    const struct {
        std::unique_ptr<CPropertySheet> wizard;
        Steps steps;
        Texts appearances;
    } cases[] = {
        {std::make_unique<CWizardCheckContainer>(nullptr),
         {note, named, note, next, note, back, note},
         {check, check, is(title, kFinish, IDC_REPORT_ROWS), check}},
        {std::make_unique<CWizardDeleteContainer>(nullptr), names, Texts(3, name(either + L" to delete", kFinish))},
        {std::make_unique<CWizardChangePassword>(nullptr), names,
         Texts(3, name(either + L" to change password on", kFinish))},
        {std::make_unique<CWizardCopyContainer>(nullptr),
         {note, named, next, note, named, note, empty, note, back, note},
         {source, target, target, target, source}},
        {std::make_unique<CWizardCertificateOnContainer>(nullptr),
         {note, named, note, next, note},
         {view, view, is(L"Certificate to view|View and choose certificate", kFinish, kFinish)}},
        {std::make_unique<CWizardInstallPrivateCertificate>(nullptr),
         Steps{note, typed(path), note, next, note, next, note, named, note, next, note, Click(IDC_STORE_BROWSE)} +
             Steps{note, back, next, note, next, note, back, note, back, back, note, back, typed(several), next} +
             Steps{note, Click(IDC_CERTIFICATE_BROWSE), note},
         {file, file, chosen, link, link, linked, is(into, kNext, IDC_STORE_BROWSE), linked,
          is(title, kFinish, IDC_INSTALL_SUMMARY), linked, chosen, none, none}},
    };
    for (const auto& c : cases) {
        noted.clear();
        Run(*c.wizard, c.steps);
        EXPECT_EQ(noted, c.appearances);
    }
    RunTool(L"remove pages");
}

TEST_F(Selection, ListsTheProductsProvidersOnly) {
    std::wstring own = ProgramDirectory() + L"kvcsp.dll", loud = own;
    CharUpperW(loud.data());
    const std::wstring longest = own + std::wstring(259 - own.size(), L'x');
    const struct {
        std::wstring name;
        DWORD type, kind;
        std::wstring path;
        int size = 2;  // of the path, in bytes from its end
    } registered[] = {
        {L"Aaa", 75, REG_SZ, loud},
        {L"Kelvane", 1, REG_EXPAND_SZ, longest},
        {L"Foreign", 1, REG_SZ, own},
        {L"Kelvane, another place", 1, REG_SZ, L"C:\\windows\\kvcsp.dll"},
        {L"Kelvane, no path", 1, REG_NONE, L""},
        {L"Kelvane, empty path", 1, REG_SZ, L"", 0},
        {L"Kelvane, no text", 1, REG_BINARY, own},
        {L"Kelvane, odd path", 1, REG_SZ, own, 1},
        {L"Kelvane, unended path", 1, REG_SZ, own, -2},
        {L"Kelvane, long path", 1, REG_SZ, longest + L"x"},
    };
    const std::wstring all = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
    for (const auto& [name, type, kind, path, size] : registered) {
        const auto bytes = static_cast<DWORD>(static_cast<int>(path.size() * sizeof(wchar_t)) + size);
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (all + name).c_str(), L"Type", REG_DWORD, &type, sizeof type);
        if (kind == REG_NONE) continue;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (all + name).c_str(), L"Image Path", kind, path.c_str(), bytes);
    }
    Acquisitions opened;
    opened.error = ERROR_ACCESS_DENIED;
    const auto look = [](const std::wstring& shown, size_t count) {
        return [=](HWND sheet) {
            EXPECT_EQ(Shown(sheet), shown);
            EXPECT_EQ(Ui::Items(Ui::Page(sheet), IDC_SELECT_PROVIDER).size(), count);
            for (const UINT source : {IDC_SELECT_BROWSE, IDC_SELECT_BY_CERTIFICATE})
                EXPECT_EQ(Ui::Visible(Ui::Page(sheet), source), count == 4);
        };
    };
    Check({look(L"|2|User", 4), Type(L"a"), Click(IDC_SELECT_COMPUTER), Press(PSBTN_NEXT)});
    EXPECT_EQ(opened.calls, Texts{L"a|" + kMain + L"|75|32"});  // found by its name, with its own type
    OnePageWizard unrestricted(false);
    Run(unrestricted, {look(L"|2|User", 11)});
    for (const auto& provider : registered) RegDeleteKeyW(HKEY_LOCAL_MACHINE, (all + provider.name).c_str());
}

TEST_F(Selection, ClosesTheWizardWhenThereIsNoProvider) {
    const auto none = +[](DWORD, DWORD*, DWORD, DWORD*, LPWSTR, DWORD*) -> BOOL { return FALSE; };
    const ImportPatch patch(nullptr, "CryptEnumProvidersW", none);
    const ModalScript script({[](HWND) { ADD_FAILURE() << "it is still open"; }});
    EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
    EXPECT_TRUE(script.Boxes().size() == 1 && script.Boxes()[0].text == L"Error accessing selected CSP");
}

TEST_F(Selection, OnlyANameLetsTheUserGoOn) {
    const auto expect = [](UINT button, bool enabled) {
        return [=](HWND sheet) {
            EXPECT_TRUE(Ui::Visible(sheet, button) && Ui::Enabled(sheet, button) == enabled &&
                        !Ui::Enabled(sheet, kBack));
        };
    };
    Check({expect(kNext, false), Press(PSBTN_NEXT), expect(kNext, false), Type(L"a"), expect(kNext, true), Type(L""),
           expect(kNext, false)});
    OnePageWizard wizard(true);
    const INT_PTR result = Run(
        wizard, {expect(kFinish, false), Press(PSBTN_FINISH), expect(kFinish, false), Type(L"a"), expect(kFinish, true),
                 Type(L""), expect(kFinish, false), Type(L"a"), Click(IDC_SELECT_COMPUTER), Press(PSBTN_FINISH)});
    EXPECT_TRUE(result == ID_WIZFINISH && wizard.state.keySet == KeySet::Computer && boxes.empty());
}

// Names may hold anything; the error is the provider's, whatever failed since. The choice of Computer is forgotten.
TEST_F(Selection, SaysWhyAContainerCantBeOpened) {
    Acquisitions opened;
    opened.error = static_cast<DWORD>(NTE_BAD_KEYSET);
    for (const auto& [name, shown] : {std::pair<std::wstring, std::wstring>(L"нет такого", L"нет такого"),
                                      {L"%1 %2 %s %n", L"%1 %2 %s %n"},
                                      {L"x'\r\n\nNothing", L"x'‹U+000D›‹U+000A›‹U+000A›Nothing"},
                                      {L"\x200Eleft\x202Eright", L"‹U+200E›left‹U+202E›right"}}) {
        Check({[](HWND sheet) { EXPECT_EQ(Shown(sheet), L"|0|User"); }, Click(IDC_SELECT_COMPUTER), Type(name.c_str()),
               Press(PSBTN_NEXT), Shows(IDC_SELECT_NAME, name)});
        EXPECT_EQ(opened.calls.back(), name + L"|" + kMain + L"|75|32");
        EXPECT_EQ(boxes,
                  Texts{L"Access private key container '" + shown + L"' error:\n" + ErrorMessageText(opened.error)});
    }
    const std::wstring longest(300, L'Ж');
    const auto insert = [&](HWND sheet) {
        SendDlgItemMessageW(Ui::Page(sheet), IDC_SELECT_NAME, EM_REPLACESEL, 0, LPARAM(longest.c_str()));
    };
    Check({insert, Shows(IDC_SELECT_NAME, longest.substr(0, 260)), Type(longest.c_str()), Press(PSBTN_NEXT)});
    EXPECT_EQ(boxes, Texts{L"Enter no more than 260 characters."});
}

const char* picked;  // in the ANSI code page; nullptr: the user cancels

BOOL WINAPI Pick(HCRYPTPROV, DWORD parameter, BYTE* data, DWORD* size, DWORD) {
    return parameter == 110 && *size == 513 && picked && lstrcpyA(reinterpret_cast<char*>(data), picked);
}

TEST_F(Selection, BrowseLetsTheProviderAsk) {
    const ImportPatch patch(nullptr, "CryptGetProvParam", &Pick);
    Acquisitions opened;
    using Case = std::tuple<DWORD, const char*, const wchar_t*>;
    for (const auto& [error, name, shown] :
         {Case(0, "\xC8\xEC\xFF %1", L"Имя %1|1|Computer"), Case(0, nullptr, L"typed|1|Computer"),
          Case(5, "x", L"typed|1|Computer")}) {
        opened.error = error;
        picked = name;
        std::wstring after;
        Check({Type(L"typed"), [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 1); },
               Click(IDC_SELECT_COMPUTER), Click(IDC_SELECT_BROWSE), [&](HWND sheet) { after = Shown(sheet); }});
        EXPECT_EQ(after, shown);
        EXPECT_EQ(boxes, error ? Texts{L"Error accessing selected CSP"} : Texts{});
    }
    EXPECT_EQ(opened.calls, Texts(3, L"|" + kOther + L"|71|4026531872"));
}

PCCERT_CONTEXT chosen;     // nullptr: the user cancels
UniqueCertificate own[2];  // in the user's store and in the computer's
std::wstring asked;        // title, stores that hold their own, hidden columns, which of the keys below are shown

bool Holds(HCERTSTORE store, DWORD whose) {
    return !!UniqueCertificate(
        CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, own[whose].get(), nullptr));
}

PCCERT_CONTEXT WINAPI Choose(const SelectCertificateRequest* request) {
    asked = request->szTitle + std::wstring(L"|");
    for (DWORD i = 0; i < request->cDisplayStores; ++i)
        asked += Holds(request->rghDisplayStores[i], i) && !(i && Holds(request->rghDisplayStores[i], 0)) ? L'+' : L'-';
    asked += L"|" + std::to_wstring(request->dwDontUseColumn) + L"|";
    for (const char* key : {"1.2.643.2.2.19", "1.2.643.2.2.20", "1.2.643.2.2.199", "1.2.643.2.2.1", ""}) {
        CERT_INFO information{};
        information.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>(key);
        const CERT_CONTEXT certificate{0, nullptr, 0, &information, nullptr};
        asked += request->pFilterCallback(&certificate, nullptr, nullptr) ? L'+' : L'-';
    }
    return chosen ? CertDuplicateCertificateContext(chosen) : nullptr;
}

TEST_F(Selection, ACertificateLeadsToItsContainer) {
    const LibraryFunction choose("CryptUIDlgSelectCertificateW", &Choose);
    const KeptStores kept;
    for (const bool machine : {false, true}) {
        own[machine] = SelfSigned();
        CertAddCertificateContextToStore(SystemStore(L"My", machine).get(), own[machine].get(), CERT_STORE_ADD_ALWAYS,
                                         nullptr);
    }
    using Case = std::tuple<const wchar_t*, const wchar_t*, DWORD, bool, const wchar_t*>;  // container nullptr: no link
    for (const auto& [container, provider, flags, denied, shown] :
         {Case(L"Имя %1\nтут", kOther.c_str(), CRYPT_MACHINE_KEYSET, false, L"Имя %1\nтут|1|Computer"),
          Case(L"a", L"Nobody", CRYPT_MACHINE_KEYSET, true, L"a|0|Computer"), Case(L"b", nullptr, 0, true, L"b|0|User"),
          Case(nullptr, nullptr, 0, false, L"typed|1|User")}) {
        CRYPT_KEY_PROV_INFO link{const_cast<wchar_t*>(container), const_cast<wchar_t*>(provider), 75, flags, 0, {}, 1};
        CertSetCertificateContextProperty(own[0].get(), CERT_KEY_PROV_INFO_PROP_ID, 0, container ? &link : nullptr);
        std::optional<Denied> taken;
        if (denied) taken.emplace(L"\\global");
        chosen = nullptr;
        std::wstring before, after;
        Check({Type(L"typed"), [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 1); },
               Click(IDC_SELECT_BY_CERTIFICATE), [&](HWND sheet) { before = Shown(sheet), chosen = own[0].get(); },
               Click(IDC_SELECT_BY_CERTIFICATE), [&](HWND sheet) { after = Shown(sheet); }});
        EXPECT_EQ(before, L"typed|1|User");
        EXPECT_EQ(after, shown);
        EXPECT_EQ(asked, L"Choose a certificate from \"My\" store of current user" +
                             std::wstring(denied ? L".|+" : L" or local machine.|++") + L"|16|++---");
        EXPECT_TRUE(boxes.empty());
    }
}

}  // namespace
