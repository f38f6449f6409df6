// The wizards for certificates, from a file and in a container, as users go through them.
#include <commdlg.h>

#include "csp/KeyLink.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

// What the provider shows as a name that ends in a control character.
constexpr wchar_t kSubject[] = L" --subject \"CN=VestraTest\x202E\"", kShownName[] = L"VestraTest‹U+202E›";
constexpr wchar_t kNoCertificates[] = L"--keys xs --certs none";

UniqueCertificate Stored(bool machine = false) {
    return FindTestCertificate(SystemStore(L"My", machine).get());
}

class CertificateWizards : public WizardTest {
  protected:
    // The steps to the page for the container, with a certificate of the key from a file.
    Steps ToContainer(const ToolContainer& container, const wchar_t* key = L"x") const {
        container.WriteCertificate(path, key, kSubject);
        return {TypeFile(path), next, next};
    }
    static Step TypeFile(const std::wstring& name) { return Type(name, IDC_FILE_NAME); }
    static bool Install(const Steps& steps, const std::deque<int>& answers = {}) {
        return Run<CWizardInstallPrivateCertificate>(steps, answers);
    }
    const Step search = Click(IDC_SELECT_AUTOMATICALLY), install = Click(IDC_CERTIFICATE_INSTALL);
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"Имя\x202E %1.cer",
                       shownPath = directory.Path() + L"Имя‹U+202E› %1.cer";
    const KeptStores kept{};
    // Flags, number of certificates in the additional store (-1: none), key that the certificate has a link to.
    std::vector<std::tuple<DWORD, int, DWORD>> viewed;
    const LibraryFunction view{
        "CryptUIDlgViewCertificateW", [this](const CRYPTUI_VIEWCERTIFICATE_STRUCTW* request, BOOL*) {
            viewed.emplace_back(request->dwFlags, request->cStores ? CountCertificates(request->rghStores[0]) : -1,
                                ReadKeyLink(*request->pCertContext).value_or(KeyLink{}).keySpec);
            return TRUE;
        }};
    // Shows the first certificate, then chooses it.
    const LibraryFunction choose{
        "CryptUIDlgSelectCertificateW", [](const SelectCertificateRequest* request) {
            const PCCERT_CONTEXT first = CertEnumCertificatesInStore(request->rghDisplayStores[0], nullptr);
            reinterpret_cast<DisplayCertificate>(request->pDisplayCallback)(first, request->hwndParent, nullptr);
            return first;
        }};
};

constexpr DWORD kViewOnly = CRYPTUI_DISABLE_EDITPROPERTIES | CRYPTUI_DISABLE_ADDTOSTORE;

TEST_F(CertificateWizards, GoFromTheFileToTheStoreWithALink) {
    const struct {
        const char* name;
        DWORD keySpec;
        bool machine;  // and written into the container
        const wchar_t *provider, *key, *keyName;
    } cases[] = {
        {"user's exchange key", AT_KEYEXCHANGE, false, kProvider75, L"x", L"encryption"},
        {"computer's signature key", AT_SIGNATURE, true, kProvider71, L"s", L"signature"},
    };
    const std::wstring personal = CryptFindLocalizedName(L"MY");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolContainer container(L"vt-w", kNoCertificates, c.machine ? ComputersOf(c.provider) : L"");
        DWORD browsed = 0;  // for a store, and where
        const LibraryFunction browse("CryptUIDlgSelectStoreW", [&](const SelectStoreRequest* request) -> HCERTSTORE {
            browsed = request->pSources->rgEnumerations->dwFlags;
            return nullptr;
        });
        const Step summary = [&](HWND sheet) {
            const Texts rows = Rows(sheet, IDC_INSTALL_SUMMARY);
            EXPECT_EQ(rows.at(1), L"  from file|" + shownPath);
            EXPECT_EQ(rows.at(3), L"  subject|CN=" + std::wstring(kShownName));
            EXPECT_EQ(rows.at(9), L"  to private key|" + std::wstring(c.keyName));
            EXPECT_EQ(rows.at(12), L"  to certificate store|" + personal);
            EXPECT_EQ(rows.back() == L"  in container|", c.machine);
        };
        const Step owner = c.machine ? computer : Click(IDC_SELECT_USER),
                   write = c.machine ? Click(IDC_STORE_WRITE_TO_CONTAINER) : Step([](HWND) {});
        // Back on the first page, the wizard forgets the container but not the certificate.
        const Steps found = {owner, search, Shows(IDC_SELECT_PROVIDER, c.provider, false)},
                    choice = {back, Shows(IDC_CERTIFICATE_NAME, kShownName),
                              Shows(IDC_CERTIFICATE_BROWSE, L"B&rowse...", false)},
                    again = {back, next, next, Shows(IDC_SELECT_NAME, L""), owner, search, next},
                    end = {Shows(IDC_STORE_NAME, personal, false), Click(IDC_STORE_BROWSE), back, next};
        EXPECT_TRUE(Install(ToContainer(container, c.key) + found + choice + again + end +
                            Steps{write, next, summary, finish}));
        EXPECT_EQ(shown, Boxes());
        EXPECT_EQ(browsed, c.machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER);
        const UniqueCertificate installed = Stored(c.machine);
        ASSERT_TRUE(installed);
        const KeyLink link = ReadKeyLink(*installed.get()).value_or(KeyLink{});
        EXPECT_EQ(link.keySpec, c.keySpec);
        EXPECT_EQ(link.keySet, c.machine ? KeySet::Computer : KeySet::User);
        CCryptProvContext opened;
        (void)opened.Acquire(FlagOf(link.keySet), link.container.c_str(), link.provider.c_str(), link.providerType);
        UniqueCryptKey key;
        EXPECT_TRUE(CryptGetUserKey(opened.Get(), c.keySpec, key.put()));
        EXPECT_EQ(KeyParameter(key.get(), KP_CERTIFICATE).empty(), !c.machine);
        EXPECT_EQ(RemoveTestCertificates(), (StoreCounts{{c.machine ? "computer's My" : "user's My", 1}}));
    }
}

// A provider's window may leave the wizard enabled.
TEST_F(CertificateWizards, DoOneThingAtATime) {
    const ToolContainer container(L"vt-w", L"--keys xs" + std::wstring(kSubject));
    const Step press = [&](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        ShownBoxes::meanwhile = [=] {
            Ui::Click(page, IDC_CERTIFICATE_INSTALL);
            for (const int button : {PSBTN_BACK, PSBTN_FINISH, PSBTN_CANCEL})
                SendMessageW(sheet, PSM_PRESSBUTTON, static_cast<WPARAM>(button), 0);
            EXPECT_EQ(Ui::Page(sheet), page);
        };
        Ui::Click(page, IDC_CERTIFICATE_INSTALL);
    };
    EXPECT_TRUE(Run<CWizardCertificateOnContainer>({Type(L"vt-w"), next, press, finish}));
    EXPECT_EQ(shown, Boxes{Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER)});
}

TEST_F(CertificateWizards, AskBeforeTheyReplace) {
    const ToolContainer container(L"vt-w", kNoCertificates);
    const Steps steps = ToContainer(container) + Steps{search, next, next, finish};
    const Box question = Told(MB_YESNO | MB_ICONINFORMATION, IDS_REPLACE_QUESTION);
    EXPECT_TRUE(Install(steps));
    EXPECT_EQ(shown, Boxes());
    EXPECT_FALSE(Install(steps, {IDNO}));
    EXPECT_EQ(shown, (Boxes{question, Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED)}));
    EXPECT_TRUE(Install(steps));
    EXPECT_EQ(shown, Boxes{question});
}

TEST_F(CertificateWizards, RefuseTheKeyOfAnotherCertificate) {
    const Steps start = ToContainer(ToolContainer(L"vt-w", kNoCertificates));
    const ToolContainer container(L"vt-w", kNoCertificates);
    const Step expectClient = [&](HWND) { ShownBoxes::meanwhile = [&] { EXPECT_TRUE(ClientIsSet()); }; };
    Install(start + Steps{SelectProvider(1), back, next, Shows(IDC_SELECT_PROVIDER, kProvider71), expectClient, search,
                          Shows(IDC_SELECT_NAME, L""), SelectProvider(0), Type(L"vt-w"), next,
                          Shows(IDC_SELECT_NAME, L"vt-w")});
    EXPECT_EQ(shown, (Boxes{Told(MB_ICONEXCLAMATION, IDS_CONTAINER_NOT_FOUND),
                            Told(MB_ICONEXCLAMATION, IDS_KEY_OF_OTHER_CERTIFICATE)}));
}

TEST_F(CertificateWizards, TakeFilesWithCertificatesOnly) {
    const std::wstring several = kData + L"several.p7b";
    const LibraryFunction open("GetOpenFileNameW", [&](OPENFILENAMEW* request) {
        EXPECT_EQ(request->Flags & ~DWORD{OFN_EXPLORER}, 0x00A01C09u);
        lstrcpyW(request->lpstrFile, several.c_str());
        return TRUE;
    });
    Install({TypeFile(kData + L"crl.p7b"), next, Shows(IDC_FILE_NAME, kData + L"crl.p7b")});
    EXPECT_EQ(shown, Boxes{Told(MB_OK, IDS_NO_CERTIFICATE_FILE)});
    // The chosen certificate stays until another file is opened.
    const Step nothing = Shows(IDC_CERTIFICATE_NAME, L""), second = Shows(IDC_CERTIFICATE_NAME, L"Second"),
               disabled = Shows(IDC_CERTIFICATE_PROPERTIES, L"&Properties...", false);
    const Steps first = {Click(IDC_FILE_BROWSE), Shows(IDC_FILE_NAME, several), next,   disabled,    nothing,
                         NextIs(false),          Click(IDC_CERTIFICATE_BROWSE), second, NextIs(true)},
                same = {Click(IDC_CERTIFICATE_PROPERTIES), back, next, second},
                another = {back, TypeFile(kData + L"SEVERAL.p7b"), next, nothing};
    Install(first + same + another);
    EXPECT_EQ(viewed, std::vector(2, std::tuple(kViewOnly, -1, DWORD{0})));
}

// The store is chosen in the system's dialog. Each step of the link fails once.
TEST_F(CertificateWizards, RepeatWhatFailed) {
    const ToolContainer container(L"vt-w", kNoCertificates);
    std::string_view failing;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        if (call.name != failing) return call();
        failing = {};
        return SystemCalls::Fail(ERROR_ACCESS_DENIED);
    });
    const Step browse = [](HWND sheet) { PostMessageW(GetDlgItem(Ui::Page(sheet), IDC_STORE_BROWSE), BM_CLICK, 0, 0); };
    const Step cancel = [](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); };
    const Step pick = [](HWND dialog) {
        const HWND tree = FindWindowExW(dialog, nullptr, WC_TREEVIEWW, nullptr);
        TreeView_SelectItem(tree, TreeView_GetRoot(tree));
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    };
    Steps steps =
        ToContainer(container) + Steps{search, next, browse, cancel, NextIs(false), browse, pick, NextIs(true), next};
    const std::wstring unique = L"REGISTRY\\vt-w";
    const struct {
        const char* function;
        UINT told;
        std::wstring container;
    } failures[] = {{"CryptGetProvParam", IDS_NO_PARAMETERS, L"vt-w"},
                    {"CryptGetUserKey", IDS_NO_KEYS, unique},
                    {"CertSetCertificateContextProperty", IDS_LINK_FAILED, unique}};
    Boxes expected;
    for (const auto& failure : failures) {
        steps = steps + Steps{[&](HWND) { failing = failure.function; }, finish};
        expected.push_back(Told(MB_ICONEXCLAMATION, failure.told, failure.container));
    }
    EXPECT_TRUE(Install(steps + Steps{finish}));
    EXPECT_EQ(shown, expected);
}

TEST_F(CertificateWizards, StopSearching) {
    const ToolContainer container(L"vt-w", kNoCertificates);
    static ULONGLONG time;  // a second later at each call, so that every step of the search is shown
    const ImportPatch clock(
        "GetTickCount64", +[] { return time += 1'000; });
    HWND sheet = nullptr;
    int opened = 0;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        if (call.name != "CryptAcquireContextW" || ++opened != 1) return call();
        const HWND page = Ui::Page(sheet), progress = GetDlgItem(page, IDC_SELECT_PROGRESS);
        EXPECT_EQ(Ui::Text(progress), L"Searching in " + std::wstring(kProvider75) + L". Press Cancel to stop.");
        EXPECT_FALSE(GetUpdateRect(progress, nullptr, FALSE)) << "not painted yet";
        EXPECT_FALSE(Ui::Enabled(sheet, kNext));
        EXPECT_FALSE(Ui::Enabled(page, IDC_SELECT_NAME));
        PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0);
        return call();
    });
    Install(ToContainer(container) + Steps{Type(L"typed"), [&](HWND window) { sheet = window; }, search,
                                           Shows(IDC_SELECT_NAME, L"typed"), NextIs(true)});
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(shown, Boxes());
}

TEST_F(CertificateWizards, TellOfTheCertificatesInAContainer) {
    const struct {
        const char* name;
        const wchar_t *options, *change;  // of the container
        std::vector<UINT> told;
        DWORD key = 0;  // whose certificate is shown; 0: the wizard stays on its first page
        bool both = false;
        const char* failing = "";  // function
    } cases[] = {
        {"none of the exchange key", L"--keys xs --certs s", L"", {IDS_NO_EXCHANGE_CERTIFICATE}, AT_SIGNATURE},
        {"other exchange key's", L"--keys xs", L"certificate-x=other", {IDS_OTHER_EXCHANGE_KEY}, AT_KEYEXCHANGE, true},
        {"other signature key's", L"--keys s", L"certificate-s=other", {IDS_OTHER_SIGNATURE_KEY}, AT_SIGNATURE},
        {"none", L"--keys s --certs none", L"", {IDS_NO_SIGNATURE_CERTIFICATE, IDS_NO_CERTIFICATES}},
        {"no keys", L"--keys none", L"", {IDS_NO_KEYS}},
        {"not linked", L"", L"", {IDS_LINK_FAILED, IDS_NO_CERTIFICATES}, 0, false, "CertSetCertificateContextProperty"},
        {"no chain", L"--keys x", L"extension=1.2.643.2.2.37.3.1:0:0401FF", {}, AT_KEYEXCHANGE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolContainer container(L"vt-w", c.options);
        if (*c.change) container.Set(c.change);
        const SystemCalls calls = Failing(c.failing, ERROR_CRC);
        viewed.clear();
        Run<CWizardCertificateOnContainer>({Type(L"vt-w"), next, [&](HWND sheet) {
                                                const HWND page = Ui::Page(sheet);
                                                EXPECT_EQ(Ui::Visible(page, IDC_CERTIFICATE_NOTE), c.both);
                                                Ui::Click(page, IDC_CERTIFICATE_PROPERTIES);
                                            }});
        Boxes expected;
        for (const UINT id : c.told) expected.push_back(Told(MB_ICONEXCLAMATION, id, L"vt-w"));
        EXPECT_EQ(shown, expected);
        EXPECT_EQ(viewed.empty() ? 0 : std::get<2>(viewed.back()), c.key);
    }
}

TEST_F(CertificateWizards, InstallWhatAContainerHolds) {
    const LibraryFunction setDefault("SetThreadDefaultCryptProv", [&](HCRYPTPROV provider) {
        EXPECT_EQ(provider, 0u);
        EXPECT_EQ(viewed.size(), 1u) << "set before the certificate was shown";
        viewed.emplace_back();
        return TRUE;
    });
    const auto refused = [&](const char* function, DWORD code) {
        return [=](HWND sheet) {
            const SystemCalls calls = Failing(function, code);
            Ui::Click(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL);
        };
    };
    const Box question = Told(MB_YESNO | MB_ICONQUESTION, IDS_REPLACE_QUESTION), error = ToldCode(ERROR_CRC),
              cancelled = Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED);
    const Steps refusals = {refused("CertOpenStore", ERROR_CRC),
                            refused("CertAddCertificateContextToStore", HRESULT_FROM_WIN32(ERROR_CANCELLED)),
                            refused("CertAddEncodedCertificateToStore", ERROR_CRC)};
    const Steps installs = {Click(IDC_CERTIFICATE_PROPERTIES), install, install,
                            Click(IDC_CERTIFICATE_BROWSE),     install, finish};
    for (const bool machine : {false, true}) {
        SCOPED_TRACE(machine ? "computer's" : "user's");
        const ToolContainer container(L"vt-w", L"--keys xs --chain 3" + std::wstring(kSubject),
                                      machine ? ComputersOf(kProvider75) : L"");
        viewed.clear();
        const Steps there = {Click(machine ? IDC_SELECT_COMPUTER : IDC_SELECT_USER), Type(L"vt-w"), next};
        EXPECT_TRUE(Run<CWizardCertificateOnContainer>(there + refusals + installs, {IDNO}));
        const Box done = Told(MB_ICONINFORMATION, machine ? IDS_INSTALLED_FOR_COMPUTER : IDS_INSTALLED_FOR_USER);
        EXPECT_EQ(shown, (Boxes{error, error, question, cancelled, question, done, done}));
        const std::tuple properties(kViewOnly, 3, DWORD{AT_KEYEXCHANGE}), reset(DWORD{0}, 0, DWORD{0}),
            browsed(kViewOnly, -1, DWORD{AT_SIGNATURE});
        EXPECT_EQ(viewed, (std::vector{properties, reset, browsed}));
        const std::string owner = machine ? "computer's " : "user's ";
        EXPECT_EQ(RemoveTestCertificates(), (StoreCounts{{owner + "My", 2}, {owner + "ca", 2}, {owner + "root", 1}}));
    }
}

struct TorturedCertificateWizard : TorturedWizard<CertificateWizards> {
    // What is in the stores; then it is removed.
    static StoreCounts TakeStored() {
        const UniqueCertificate found = Stored();
        const bool linked = !found || ReadKeyLink(*found.get());
        StoreCounts counts = RemoveTestCertificates();
        if (!linked) counts["without a link"] = 1;
        return counts;
    }
    const ToolContainer container{L"vt-w", L"--chain 2 --subject CN=VestraTest"};
};

TEST_F(TorturedCertificateWizard, InstallsFromAFile) {
    ToContainer(container);  // makes the file
    const Steps steps = {Leave(TypeFile(path)), Leave(none), Leave(Type(L"vt-w")),
                         Leave(Click(IDC_STORE_WRITE_TO_CONTAINER)), Leave(none, PSBTN_FINISH)};
    Survive<CWizardInstallPrivateCertificate>("installation from a file", steps, [&] {
        const StoreCounts expected = finished ? StoreCounts{{"user's My", 1}} : StoreCounts();
        return TakeStored() == expected ? "" : "other certificates";
    });
}

// A failure may leave certificates of the chain. A certificate that is left out is reported, then that there is none.
TEST_F(TorturedCertificateWizard, InstallsFromAContainer) {
    const Steps steps = {Leave(Type(L"vt-w")), Leave(install, PSBTN_FINISH)};
    Survive<CWizardCertificateOnContainer>(
        "installation from a container", steps,
        [&] {
            const StoreCounts stored = TakeStored();
            if (stored.contains("without a link")) return "without a link";
            return finished && !stored.contains("user's My") ? "not installed" : "";
        },
        2);
}

}  // namespace
