// The wizards' pages as they appear, and the one on which the user names a container, as real windows against the
// software provider.
#include <gtest/gtest.h>

#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCheckContainer.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

const std::wstring kMain = kProvider75, kOther = kProvider71;

// Containers are not opened; a provider without a container is, instead.
class Acquisitions {
  public:
    using Asked = std::tuple<std::wstring, std::wstring, DWORD, DWORD>;  // container, provider, type, flags
    std::vector<Asked> calls;
    HRESULT error = S_OK;  // else all fail with it

  private:
    CryptCalls patch_{[this](const CryptCalls::Call& call) {
        if (call.name != "CryptAcquireContextW") return call();
        const auto* container = call.At<const wchar_t*>(1);
        calls.emplace_back(container ? container : L"", call.At<const wchar_t*>(2), call.a[3], call.a[4]);
        if (error != S_OK) return CryptCalls::Fail(static_cast<DWORD>(error));
        CryptCalls::Call provider = call;
        provider.a[1] = 0;
        provider.a[4] = CRYPT_VERIFYCONTEXT;
        return provider();
    }};
};

using Selection = WizardTest;

// What the page shows: name, position of the provider, and whether the computer's containers are selected.
using Shown = std::tuple<std::wstring, int, bool>;
Shown ShownOn(HWND sheet) {
    const HWND page = Ui::Page(sheet);
    const bool computers = IsDlgButtonChecked(page, IDC_SELECT_COMPUTER) == BST_CHECKED;
    EXPECT_NE(IsDlgButtonChecked(page, IDC_SELECT_USER) == BST_CHECKED, computers);
    return {Ui::Text(page, IDC_SELECT_NAME), Ui::Selected(page, IDC_SELECT_PROVIDER), computers};
}

Step Expect(const Shown& expected) {
    return [=](HWND sheet) { EXPECT_EQ(ShownOn(sheet), expected); };
}

TEST_F(Selection, BeginsWithTheUsersContainersAndTheDefaultProvider) {
    for (const bool allowed : {true, false}) {
        std::optional<Denied> denied;
        if (!allowed) denied.emplace(L"\\global");
        Run<CWizardCheckContainer>(
            {Expect({L"", 0, false}), [&](HWND sheet) {
                 EXPECT_EQ(Ui::Text(sheet), L"Check private key container");
                 EXPECT_EQ(Ui::Items(Ui::Page(sheet), IDC_SELECT_PROVIDER), (Texts{kMain, kOther}));
                 EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_SELECT_COMPUTER), allowed);
             }});
    }
}

// A page's header, or the font of its title, the sheet's default button, and the control that has the focus.
using Appearance = std::tuple<std::wstring, UINT, UINT>;
Appearance AppearanceOf(HWND sheet) {
    const HWND page = Ui::Page(sheet);
    const auto& shown = static_cast<CPropertyPage*>(CWnd::FromHandlePermanent(page))->m_psp;
    const HWND title = GetDlgItem(page, IDC_REPORT_TITLE);  // both titles have this id
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendMessageW(title, WM_GETFONT, 0, 0)), sizeof font, &font);
    const std::wstring header = shown.dwFlags & PSP_HIDEHEADER
                                    ? font.lfFaceName + std::wstring(L" ") + std::to_wstring(font.lfHeight)
                                    : shown.pszHeaderTitle + std::wstring(L"|") + shown.pszHeaderSubTitle;
    return {header, LOWORD(SendMessageW(sheet, DM_GETDEFID, 0, 0)), GetDlgCtrlID(GetFocus())};
}

// Next, or Finish on a last page, is the default button in every state, and a page without input gives it the focus.
// Only what the page asks for, such as a name, enables it.
TEST_F(Selection, EveryPageHasItsHeaderItsDefaultButtonAndTheFocus) {
    const StandIn<PCCERT_CONTEXT(const SelectCertificateRequest*)> chooseNone("CryptUIDlgSelectCertificateW",
                                                                              [](auto) { return nullptr; });
    const StandIn<HCERTSTORE(const SelectStoreRequest*)> browseNone("CryptUIDlgSelectStoreW",
                                                                    [](auto) { return nullptr; });
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"x.cer", several = kData + L"several.p7b";
    const ToolContainer container(L"pages", L"--keys xs --exportable");
    container.WriteCertificate(path, L"x");
    const auto name = [](const std::wstring& purpose, UINT button) {
        return Appearance(L"Private key container|Type" + purpose, button, IDC_SELECT_NAME);
    };
    const std::wstring either = L" or choose private key container", title = L"Verdana Bold -16",
                       install = L"Certificate to install|View and choose certificate to install",
                       into = L"Certificate store|Choose certificate store to install certificate",
                       files = L"Certificate file location|Type or choose installing certificate file location";
    const Appearance check = name(either + L" to check", kNext), source = name(either + L" to copy", kNext),
                     target = name(L" private key container to copy to", kFinish),
                     remove = name(either + L" to delete", kFinish),
                     change = name(either + L" to change password on", kFinish),
                     view = name(either + L" for view certificates in this container", kNext),
                     link = name(either + L", corresponded to selected certificate", kNext),
                     file{files, kNext, IDC_FILE_NAME}, chosen{install, kNext, kNext},
                     none{install, kNext, IDC_CERTIFICATE_BROWSE}, linked{into, kNext, kNext},
                     noStore{into, kNext, IDC_STORE_BROWSE}, report{title, kFinish, IDC_REPORT_ROWS},
                     certificates{L"Certificate to view|View and choose certificate", kFinish, kFinish},
                     summary{title, kFinish, IDC_INSTALL_SUMMARY};
    const auto is = [](const Appearance& expected, bool goesOn = true) {
        return Step([=](HWND sheet) {
            EXPECT_EQ(AppearanceOf(sheet), expected);
            EXPECT_EQ(Ui::Enabled(sheet, std::get<1>(expected)), goesOn);
            EXPECT_EQ(Ui::Enabled(sheet, kBack), Ui::PageIndex(sheet) > 0);
        });
    };
    const Step named = Type(L"pages"), empty = Type(L"");
    Run<CWizardCheckContainer>(
        {is(check, false), next, is(check, false), named, is(check), next, is(report), back, is(check)});
    for (const auto& [run, page] :
         {std::pair(&Run<CWizardDeleteContainer>, remove), std::pair(&Run<CWizardChangePassword>, change)})
        run({is(page, false), finish, is(page, false), named, is(page), empty, is(page, false)}, {});
    Run<CWizardCopyContainer>({is(source, false), named, next, is(target, false), named, is(target), empty,
                               is(target, false), back, is(source)});
    Run<CWizardCertificateOnContainer>({is(view, false), named, is(view), next, is(certificates)});
    const Step path1 = Type(path, IDC_FILE_NAME), path2 = Type(several, IDC_FILE_NAME);
    const Steps forth = {is(file, false), path1, is(file), next, is(chosen), next, is(link, false), named, is(link)},
                store = {next, is(linked), Click(IDC_STORE_BROWSE), is(noStore, false)},
                again = {back, next, is(linked), next, is(summary), back, is(linked), back, back, is(chosen), back},
                nothing = {path2, next, is(none, false), Click(IDC_CERTIFICATE_BROWSE), is(none, false)};
    Run<CWizardInstallPrivateCertificate>(forth + store + again + nothing);
}

// The providers that the registry has while the object lives.
struct RegisteredProvider {
    RegisteredProvider(std::wstring name, DWORD type, DWORD kind, const std::wstring& path, int size = 2)
        : key(L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + name) {
        const auto bytes = static_cast<DWORD>(static_cast<int>(path.size() * sizeof(wchar_t)) + size);
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Type", REG_DWORD, &type, sizeof type);
        if (kind != REG_NONE)
            RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Image Path", kind, path.c_str(), bytes);
    }
    ~RegisteredProvider() { RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str()); }
    RegisteredProvider(const RegisteredProvider&) = delete;
    RegisteredProvider& operator=(const RegisteredProvider&) = delete;
    const std::wstring key;
};

// Those with a path in the panel's directory; as the target of a copy, all of the product.
TEST_F(Selection, ListsTheProductsProvidersOnly) {
    const std::wstring own = ProgramDirectory() + L"kvcsp.dll", longest = own + std::wstring(259 - own.size(), L'x');
    std::wstring loud = own;
    CharUpperW(loud.data());
    // The last number: of the path's terminator, in bytes.
    const RegisteredProvider registered[] = {
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
    const ToolContainer container(L"providers", L"--exportable");
    const auto look = [](size_t count, bool sources) {
        return Step([=](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            EXPECT_EQ(Ui::Items(page, IDC_SELECT_PROVIDER).size(), count);
            EXPECT_EQ(Ui::Selected(page, IDC_SELECT_PROVIDER), 2);
            for (const UINT source : {IDC_SELECT_BROWSE, IDC_SELECT_BY_CERTIFICATE})
                EXPECT_EQ(Ui::Visible(page, source), sources) << source;
        });
    };
    Run<CWizardCopyContainer>({look(4, true), Type(L"providers"), next, look(11, false)});
    EXPECT_EQ(shown, Boxes()) << "found by its name, with its own type";
}

TEST_F(Selection, ClosesTheWizardWhenThereIsNoProvider) {
    const CryptCalls none = Failing("CryptEnumProvidersW", ERROR_NO_MORE_ITEMS);
    const ModalScript script({[](HWND) { ADD_FAILURE() << "it is still open"; }});
    EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
    EXPECT_EQ(shown, Boxes{Told(MB_ICONEXCLAMATION, IDS_CSP_ACCESS_FAILED)});
}

// Names may hold anything. Each wizard begins with the user's containers, whatever was chosen before.
TEST_F(Selection, SaysWhyAContainerCantBeOpened) {
    Acquisitions opened;
    opened.error = NTE_BAD_KEYSET;
    const struct {
        bool (*run)(const Steps&, const std::deque<int>&);
        std::wstring name, shownName;
        Step press;
        DWORD flags = 0;
    } cases[] = {
        {&Run<CWizardCheckContainer>, L"нет такого", L"нет такого", next},
        {&Run<CWizardCopyContainer>, L"%1 %2 %s %n", L"%1 %2 %s %n", next},
        {&Run<CWizardCertificateOnContainer>, L"x'\r\n\nNo", L"x'‹U+000D›‹U+000A›‹U+000A›No", next},
        {&Run<CWizardChangePassword>, L"\x200Eleft\x202Eright", L"‹U+200E›left‹U+202E›right", finish},
        {&Run<CWizardDeleteContainer>, L"name", L"name", finish, CRYPT_DELETEKEYSET},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        c.run({Expect({L"", 0, false}), computer, Type(c.name), c.press, Shows(IDC_SELECT_NAME, c.name)}, {});
        EXPECT_EQ(opened.calls.back(), Acquisitions::Asked(c.name, kMain, 75, c.flags | CRYPT_MACHINE_KEYSET));
        ASSERT_FALSE(shown.empty());
        EXPECT_EQ(shown.back().first, MB_ICONERROR);
        EXPECT_EQ(shown.back().second, L"Access private key container '" + c.shownName + L"' error:\n" +
                                           ErrorMessageText(static_cast<DWORD>(NTE_BAD_KEYSET)));
    }
    const std::wstring longest(300, L'Ж');
    const Step insert = [&](HWND sheet) {
        SendDlgItemMessageW(Ui::Page(sheet), IDC_SELECT_NAME, EM_REPLACESEL, 0, LPARAM(longest.c_str()));
    };
    Run<CWizardCheckContainer>({insert, Shows(IDC_SELECT_NAME, longest.substr(0, 260)), Type(longest), next});
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].second, L"Enter no more than 260 characters.");
}

TEST_F(Selection, BrowseLetsTheProviderAsk) {
    const struct {
        const char* name;
        HRESULT error;         // of the opening
        const char* chosen;    // in the ANSI code page; nullptr: the user cancels
        const wchar_t* named;  // afterwards
    } cases[] = {
        {"chosen", S_OK, "\xC8\xEC\xFF %1", L"Имя %1"},
        {"cancelled", S_OK, nullptr, L"typed"},
        {"no provider", HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), "x", L"typed"},
    };
    constexpr DWORD kChooseContainer = 110;
    Acquisitions opened;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CryptCalls provider = FakedParameter(kChooseContainer, [&](BYTE* data, DWORD* length, DWORD) -> DWORD {
            EXPECT_EQ(*length, 513u);
            EXPECT_TRUE(ClientIsSet());
            return c.chosen ? Give({c.chosen, strlen(c.chosen) + 1}, data, length) : DWORD{ERROR_CANCELLED};
        });
        opened.error = c.error;
        Run<CWizardCheckContainer>(
            {Type(L"typed"), SelectProvider(1), computer, Click(IDC_SELECT_BROWSE), Expect({c.named, 1, true})});
        EXPECT_EQ(shown, c.error ? Boxes{Told(MB_ICONEXCLAMATION, IDS_CSP_ACCESS_FAILED)} : Boxes());
        EXPECT_EQ(opened.calls.back(),
                  Acquisitions::Asked(L"", kOther, 71, CRYPT_VERIFYCONTEXT | CRYPT_MACHINE_KEYSET));
    }
}

TEST_F(Selection, ACertificateLeadsToItsContainer) {
    const KeptStores kept;
    const UniqueCertificate own[] = {SelfSigned(), SelfSigned()};  // in the user's store and in the computer's
    for (const bool machine : {false, true})
        CertAddCertificateContextToStore(SystemStore(L"My", machine).get(), own[machine].get(), CERT_STORE_ADD_ALWAYS,
                                         nullptr);
    const auto holds = [&](HCERTSTORE store, bool machine) {
        return !!UniqueCertificate(
            CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, own[machine].get(), nullptr));
    };
    bool cancel = false, machineToo = false;
    const StandIn<PCCERT_CONTEXT(const SelectCertificateRequest*)> choose(
        "CryptUIDlgSelectCertificateW", [&](const SelectCertificateRequest* request) {
            const std::wstring stores = machineToo ? L"current user or local machine." : L"current user.";
            EXPECT_EQ(request->szTitle, L"Choose a certificate from \"My\" store of " + stores);
            EXPECT_EQ(request->cDisplayStores, machineToo ? 2u : 1u);
            EXPECT_TRUE(holds(request->rghDisplayStores[0], false));
            if (request->cDisplayStores > 1) {
                EXPECT_FALSE(holds(request->rghDisplayStores[1], false));
                EXPECT_TRUE(holds(request->rghDisplayStores[1], true));
            }
            EXPECT_EQ(request->dwDontUseColumn, DWORD{CRYPTUI_SELECT_LOCATION_COLUMN});
            for (const auto& [key, offered] : {std::pair("1.2.643.2.2.19", TRUE),
                                               {"1.2.643.2.2.20", TRUE},
                                               {"1.2.643.2.2.199", FALSE},
                                               {"1.2.643.2.2.1", FALSE},
                                               {"", FALSE}}) {
                CERT_INFO information{};
                information.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>(key);
                const CERT_CONTEXT certificate{0, nullptr, 0, &information, nullptr};
                EXPECT_EQ(request->pFilterCallback(&certificate, nullptr, nullptr), offered) << key;
            }
            return cancel ? nullptr : CertDuplicateCertificateContext(own[0].get());
        });
    const struct {
        const char* name;
        const wchar_t *container, *provider;  // of the link; container nullptr: none
        bool machine, denied;
        Shown expected;
    } cases[] = {
        {"computer's", L"Имя %1\nтут", kProvider71, true, false, {L"Имя %1\nтут", 1, true}},
        {"unknown provider", L"a", L"Nobody", true, true, {L"a", 0, true}},
        {"no provider", L"b", nullptr, false, true, {L"b", 0, false}},
        {"no link", nullptr, nullptr, false, false, {L"typed", 1, false}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CRYPT_KEY_PROV_INFO link{const_cast<wchar_t*>(c.container),
                                 const_cast<wchar_t*>(c.provider),
                                 75,
                                 c.machine ? DWORD{CRYPT_MACHINE_KEYSET} : 0,
                                 0,
                                 {},
                                 1};
        CertSetCertificateContextProperty(own[0].get(), CERT_KEY_PROV_INFO_PROP_ID, 0, c.container ? &link : nullptr);
        std::optional<Denied> denied;
        if (c.denied) denied.emplace(L"\\global");
        machineToo = !c.denied;
        cancel = true;
        Run<CWizardCheckContainer>({Type(L"typed"), SelectProvider(1), Click(IDC_SELECT_BY_CERTIFICATE),
                                    Expect({L"typed", 1, false}), [&](HWND) { cancel = false; },
                                    Click(IDC_SELECT_BY_CERTIFICATE), Expect(c.expected)});
        EXPECT_EQ(shown, Boxes());
    }
}

}  // namespace
