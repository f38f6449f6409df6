// The wizards' pages as they appear, and the one on which the user names a container, as real windows against the
// software provider.

#include "csp/Providers.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCheckContainer.h"
#include "wizards/WizardDeleteContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

using Selection = WizardTest;

// What the page shows: name, position of the provider, and whether the computer's containers are selected.
Step Expect(const std::wstring& name, int provider, bool computers) {
    return [=](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        EXPECT_EQ(Ui::Text(page, IDC_SELECT_NAME), name);
        EXPECT_EQ(Ui::Selected(page, IDC_SELECT_PROVIDER), provider);
        EXPECT_EQ(IsDlgButtonChecked(page, computers ? IDC_SELECT_COMPUTER : IDC_SELECT_USER), UINT{BST_CHECKED});
    };
}

// Title or header of the page, the sheet's default button and whether it is enabled, and the control with the focus.
using Appearance = std::tuple<std::wstring, UINT, bool, UINT>;
Appearance AppearanceOf(HWND sheet) {
    const HWND page = Ui::Page(sheet);
    const auto& shown = static_cast<CPropertyPage*>(CWnd::FromHandlePermanent(page))->m_psp;
    LOGFONTW font{};
    GetObjectW(reinterpret_cast<HFONT>(SendDlgItemMessageW(page, IDC_REPORT_TITLE, WM_GETFONT, 0, 0)), sizeof font,
               &font);
    const UINT button = LOWORD(SendMessageW(sheet, DM_GETDEFID, 0, 0));
    return {shown.pszHeaderTitle ? shown.pszHeaderTitle : font.lfFaceName + std::to_wstring(font.lfHeight), button,
            Ui::Enabled(sheet, button), GetDlgCtrlID(GetFocus())};
}

// Next, or Finish on a last page, is the default button in every state, and a page without input gives it the focus.
TEST_F(Selection, EveryPageHasItsHeaderItsDefaultButtonAndTheFocus) {
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"x.cer";
    const ToolContainer container(L"pages", L"--keys xs --exportable");
    container.WriteCertificate(path, L"x");
    const auto is = [](const wchar_t* header, UINT button, bool enabled, UINT focus) {
        const Appearance expected(header, button, enabled, focus);
        return Step([=](HWND sheet) { EXPECT_EQ(AppearanceOf(sheet), expected); });
    };
    const wchar_t *const select = L"Private key container", *const title = L"Verdana Bold-16";
    const Step unnamed = is(select, kNext, false, IDC_SELECT_NAME), named = is(select, kNext, true, IDC_SELECT_NAME),
               type = Type(L"pages"), file = Type(path, IDC_FILE_NAME),
               several = Type(kData + L"several.p7b", IDC_FILE_NAME);
    Run<CWizardCheckContainer>(
        {unnamed, next, unnamed, type, named, next, is(title, kFinish, true, IDC_REPORT_ROWS), back, named});
    Run<CWizardDeleteContainer>({is(select, kFinish, false, IDC_SELECT_NAME), finish, type,
                                 is(select, kFinish, true, IDC_SELECT_NAME), Type(L""),
                                 is(select, kFinish, false, IDC_SELECT_NAME)});
    const Step chosen = is(L"Certificate to install", kNext, true, kNext),
               stored = is(L"Certificate store", kNext, true, kNext);
    Run<CWizardInstallPrivateCertificate>(
        Steps{is(L"Certificate file location", kNext, false, IDC_FILE_NAME), file, next, chosen, next, unnamed, type} +
        Steps{next, stored, next, is(title, kFinish, true, IDC_INSTALL_SUMMARY), back, stored, back, back, chosen} +
        Steps{back, several, next, is(L"Certificate to install", kNext, false, IDC_CERTIFICATE_BROWSE)});
}

// Those with a path in the panel's directory; as the target of a copy, all of the product.
TEST_F(Selection, ListsTheProductsProvidersOnly) {
    const std::wstring own = ProgramDirectory() + L"kvcsp.dll", longest = own + std::wstring(259 - own.size(), L'x');
    std::wstring loud = own;
    CharUpperW(loud.data());
    const struct {
        Provider provider;
        bool product, own;
        DWORD kind;
        std::wstring path;
        int terminator = 2;  // bytes
    } cases[] = {
        {{L"Aaa", 75}, true, true, REG_SZ, loud},
        {{L"Kelvane", 1}, true, true, REG_EXPAND_SZ, longest},
        {{L"Foreign", 1}, false, false, REG_SZ, own},
        {{L"Kelvane, another place", 1}, true, false, REG_SZ, L"C:\\windows\\kvcsp.dll"},
        {{L"Kelvane, no text", 1}, true, false, REG_BINARY, own},
        {{L"Kelvane, odd path", 1}, true, false, REG_SZ, own, 1},
        {{L"Kelvane, unended path", 1}, true, false, REG_SZ, own, -2},
        {{L"Kelvane, long path", 1}, true, false, REG_SZ, longest + L"x"},
    };
    for (const auto& [provider, product, isOwn, kind, path, terminator] : cases) {
        SCOPED_TRACE(testing::PrintToString(provider.name));
        const std::wstring key = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\" + provider.name;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"Image Path", kind, path.c_str(),
                        static_cast<DWORD>(path.size() * sizeof(wchar_t)) + static_cast<DWORD>(terminator));
        EXPECT_EQ(ListProductProviders({provider}).size(), product ? 1u : 0u);
        EXPECT_EQ(ListOwnProviders({provider}).size(), isOwn ? 1u : 0u);
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, key.c_str());
    }
}

TEST_F(Selection, ClosesTheWizardWhenThereIsNoProvider) {
    const SystemCalls none = Failing("CryptEnumProvidersW", ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
    EXPECT_EQ(shown, Boxes{Told(MB_ICONEXCLAMATION, IDS_CSP_ACCESS_FAILED)});
}

// Names may hold anything.
TEST_F(Selection, SaysWhyAContainerCantBeOpened) {
    DWORD flags = 0;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        if (call.name == "CryptAcquireContextW") flags = static_cast<DWORD>(call.a[4]);
        return call();
    });
    const struct {
        bool (*run)(const Steps&, const std::deque<int>&);
        std::wstring name, shownName;
        Step press;
        DWORD flags = CRYPT_MACHINE_KEYSET;
    } cases[] = {
        {&Run<CWizardCheckContainer>, L"нет %1 %s %n", L"нет %1 %s %n", next},
        {&Run<CWizardChangePassword>, L"\x202Eright\r\nNo", L"‹U+202E›right‹U+000D›‹U+000A›No", finish},
        {&Run<CWizardDeleteContainer>, L"x", L"x", finish, CRYPT_MACHINE_KEYSET | CRYPT_DELETEKEYSET},
    };
    for (const auto& c : cases) {
        c.run({Expect(L"", 0, false), computer, Type(c.name), c.press, Shows(IDC_SELECT_NAME, c.name)}, {});
        EXPECT_EQ(flags, c.flags);
        ASSERT_FALSE(shown.empty());
        EXPECT_EQ(shown.back(), Box(MB_ICONERROR, L"Access private key container '" + c.shownName + L"' error:\n" +
                                                      ErrorMessageText(static_cast<DWORD>(NTE_BAD_KEYSET))));
    }
    Run<CWizardCheckContainer>({Type(std::wstring(300, L'Ж')), next});
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0].second, L"Enter no more than 260 characters.");
}

TEST_F(Selection, BrowseLetsTheProviderAsk) {
    const char* chosen = "\xC8\xEC\xFF %1";  // in the ANSI code page; nullptr: the user cancels
    const SystemCalls provider = FakedParameter(110, [&](BYTE* data, DWORD* length, DWORD) -> DWORD {
        EXPECT_EQ(*length, 513u);
        EXPECT_TRUE(ClientIsSet());
        return chosen ? Give({chosen, strlen(chosen) + 1}, data, length) : DWORD{ERROR_CANCELLED};
    });
    Run<CWizardCheckContainer>({SelectProvider(1), computer, Click(IDC_SELECT_BROWSE), Expect(L"Имя %1", 1, true),
                                [&](HWND) { chosen = nullptr; }, Click(IDC_SELECT_BROWSE), Expect(L"Имя %1", 1, true)});
    EXPECT_EQ(shown, Boxes());
    const SystemCalls none = Failing("CryptAcquireContextW", ERROR_ACCESS_DENIED);
    Run<CWizardCheckContainer>({Click(IDC_SELECT_BROWSE)});
    EXPECT_EQ(shown, Boxes{Told(MB_ICONEXCLAMATION, IDS_CSP_ACCESS_FAILED)});
}

TEST_F(Selection, ACertificateLeadsToItsContainer) {
    const KeptStores kept;
    const UniqueCertificate own = SelfSigned();
    CertAddCertificateContextToStore(SystemStore(L"My").get(), own.get(), CERT_STORE_ADD_ALWAYS, nullptr);
    bool machineToo = false;
    const LibraryFunction choose("CryptUIDlgSelectCertificateW", [&](const SelectCertificateRequest* request) {
        EXPECT_EQ(request->cDisplayStores, machineToo ? 2u : 1u);
        EXPECT_TRUE(FindTestCertificate(request->rghDisplayStores[0]));
        EXPECT_EQ(request->dwDontUseColumn, DWORD{CRYPTUI_SELECT_LOCATION_COLUMN});
        for (const auto& [key, offered] :
             {std::pair("1.2.643.2.2.19", TRUE), {"1.2.643.2.2.20", TRUE}, {"1.2.643.2.2.199", FALSE}}) {
            CERT_INFO information{};
            information.SubjectPublicKeyInfo.Algorithm.pszObjId = const_cast<char*>(key);
            const CERT_CONTEXT certificate{0, nullptr, 0, &information, nullptr};
            EXPECT_EQ(request->pFilterCallback(&certificate, nullptr, nullptr), offered) << key;
        }
        return CertDuplicateCertificateContext(own.get());
    });
    const struct {
        const char* name;
        const wchar_t *container, *provider;  // of the link; container nullptr: none
        bool machine, denied;
        int position;  // of the provider
    } cases[] = {
        {"computer's", L"Имя %1\nтут", kProvider71, true, false, 1},
        {"unknown provider", L"a", L"Nobody", true, true, 0},
        {"no link", nullptr, nullptr, false, false, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CRYPT_KEY_PROV_INFO link{};
        link.pwszContainerName = const_cast<wchar_t*>(c.container);
        link.pwszProvName = const_cast<wchar_t*>(c.provider);
        link.dwFlags = c.machine ? CRYPT_MACHINE_KEYSET : 0;
        CertSetCertificateContextProperty(own.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, c.container ? &link : nullptr);
        std::optional<Denied> denied;
        if (c.denied) denied.emplace(L"\\global");
        machineToo = !c.denied;
        const Step mayUse = [&](HWND sheet) {
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), IDC_SELECT_COMPUTER), !c.denied);
        };
        Run<CWizardCheckContainer>({mayUse, Type(L"typed"), SelectProvider(1), Click(IDC_SELECT_BY_CERTIFICATE),
                                    Expect(c.container ? c.container : L"typed", c.position, c.machine)});
        EXPECT_EQ(shown, Boxes());
    }
}

}  // namespace
