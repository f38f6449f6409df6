// The wizards for certificates, from a file and in a container, as users go through them.
#include <windows.h>
#include <commdlg.h>

#include <gtest/gtest.h>

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
    // A file with a certificate of a key of the container.
    std::wstring File(const ToolContainer& container, const wchar_t* key = L"x") const {
        container.WriteCertificate(path, key, kSubject);
        return path;
    }
    static Step TypeFile(const std::wstring& name) { return Type(name, IDC_FILE_NAME); }
    static bool Install(const Steps& steps, const std::deque<int>& answers = {}) {
        return Run<CWizardInstallPrivateCertificate>(steps, answers);
    }
    const Step search = Click(IDC_SELECT_AUTOMATICALLY), install = Click(IDC_CERTIFICATE_INSTALL);
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"Имя\x202E %1.cer",
                       shownPath = directory.Path() + L"Имя‹U+202E› %1.cer";
    const KeptStores kept;
    // Flags, number of certificates in the additional store (-1: none), key that the certificate has a link to.
    std::vector<std::tuple<DWORD, int, DWORD>> viewed;
    const StandIn<BOOL(const CRYPTUI_VIEWCERTIFICATE_STRUCTW*, BOOL*)> view{
        "CryptUIDlgViewCertificateW", [this](const CRYPTUI_VIEWCERTIFICATE_STRUCTW* request, BOOL*) {
            viewed.emplace_back(request->dwFlags, request->cStores ? CountCertificates(request->rghStores[0]) : -1,
                                ReadKeyLink(*request->pCertContext).value_or(KeyLink{}).keySpec);
            return TRUE;
        }};
    // Shows the first certificate, then chooses it.
    const StandIn<PCCERT_CONTEXT(const SelectCertificateRequest*)> choose{
        "CryptUIDlgSelectCertificateW", [](const SelectCertificateRequest* request) {
            const PCCERT_CONTEXT first = CertEnumCertificatesInStore(request->rghDisplayStores[0], nullptr);
            reinterpret_cast<DisplayCertificate>(request->pDisplayCallback)(first, request->hwndParent, nullptr);
            return first;
        }};
};

constexpr DWORD kViewOnly = CRYPTUI_DISABLE_EDITPROPERTIES | CRYPTUI_DISABLE_ADDTOSTORE;

// The rows of the summary as the earlier pages showed them.
Texts CertificateRows(HWND page) {
    const std::pair<const wchar_t*, UINT> fields[] = {
        {L"  certificate name|", IDC_CERTIFICATE_NAME}, {L"  subject|", IDC_CERTIFICATE_SUBJECT},
        {L"  issuer|", IDC_CERTIFICATE_ISSUER},         {L"  valid from|", IDC_CERTIFICATE_FROM},
        {L"  valid to|", IDC_CERTIFICATE_TO},           {L"  serial number|", IDC_CERTIFICATE_SERIAL_NUMBER}};
    Texts rows;
    for (const auto& [label, edit] : fields) rows.push_back(label + Ui::Text(page, edit));
    return rows;
}

// On every page forth and back, then to the end.
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
        File(container, c.key);
        Texts rows;
        const Step note = [&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            for (const UINT hidden : {IDC_CERTIFICATE_INSTALL, IDC_CERTIFICATE_NOTE, IDC_CERTIFICATE_USE})
                EXPECT_FALSE(Ui::Visible(page, hidden)) << hidden;
            EXPECT_FALSE(Ui::Enabled(page, IDC_CERTIFICATE_BROWSE));
            rows = CertificateRows(page);
            EXPECT_EQ(rows[0], L"  certificate name|" + std::wstring(kShownName));
            EXPECT_EQ(rows[2], L"  issuer|CN=" + std::wstring(kShownName));
            EXPECT_NE(rows[5], L"  serial number|");
            const std::wstring keyName = c.keyName;
            rows.insert(rows.begin(), {L"Get certificate|", L"  from file|" + shownPath});
            rows.insert(rows.end(), {L"Make link|", L"  to private key|" + keyName, L"  from container|vt-w"});
            rows.insert(rows.end(), {L"Install certificate|", L"  to certificate store|" + personal});
            if (c.machine) rows.emplace_back(L"  in container|");
        };
        const Step summary = [&](HWND sheet) { EXPECT_EQ(Rows(sheet, IDC_INSTALL_SUMMARY), rows); };
        DWORD browsed = 0;  // for a store, and where
        const StandIn<HCERTSTORE(const SelectStoreRequest*)> browse(
            "CryptUIDlgSelectStoreW", [&](const SelectStoreRequest* request) {
                browsed = request->pSources->rgEnumerations->dwFlags;
                return nullptr;
            });
        const Step store = [&](HWND sheet) {
            Shows(IDC_STORE_NAME, personal, false)(sheet);
            EXPECT_EQ(IsDlgButtonChecked(Ui::Page(sheet), IDC_STORE_COMPUTER), UINT{c.machine});
            Ui::Click(Ui::Page(sheet), IDC_STORE_BROWSE);
            EXPECT_EQ(browsed, c.machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER);
        };
        const Step owner = c.machine ? computer : Click(IDC_SELECT_USER),
                   write = c.machine ? Click(IDC_STORE_WRITE_TO_CONTAINER) : Step([](HWND) {});
        // Back on the first page, the wizard forgets the container but not the certificate.
        const Steps found = {NextIs(false),
                             TypeFile(path),
                             NextIs(true),
                             next,
                             note,
                             next,
                             owner,
                             search,
                             Shows(IDC_SELECT_NAME, L"vt-w", false),
                             Shows(IDC_SELECT_PROVIDER, c.provider, false)},
                    again = {back, back, next, next, Shows(IDC_SELECT_NAME, L""), owner, search, next},
                    end = {store, back, next, write, next, summary, back, next, summary, finish};
        EXPECT_TRUE(Install(found + again + end));
        EXPECT_EQ(shown, Boxes());
        const UniqueCertificate installed = Stored(c.machine);
        ASSERT_TRUE(installed);
        const KeyLink link = ReadKeyLink(*installed.get()).value_or(KeyLink{});
        EXPECT_EQ(link.keySpec, c.keySpec);
        EXPECT_EQ(link.keySet, c.machine ? KeySet::Computer : KeySet::User);
        CCryptProvContext opened;
        (void)opened.Acquire(FlagOf(link.keySet), link.container.c_str(), link.provider.c_str(), link.providerType);
        EXPECT_EQ(FindMatchingKey(opened.Get(), *installed.get()), c.keySpec);
        UniqueCryptKey key;
        EXPECT_TRUE(CryptGetUserKey(opened.Get(), c.keySpec, key.put()));
        const BYTE* encoded = installed.get()->pbCertEncoded;
        const TestBytes written =
            c.machine ? TestBytes(encoded, encoded + installed.get()->cbCertEncoded) : TestBytes();
        EXPECT_EQ(KeyParameter(key.get(), KP_CERTIFICATE), written);
        EXPECT_EQ(RemoveTestCertificates(), (StoreCounts{{c.machine ? "computer's My" : "user's My", 1}}));
    }
}

// A window that doesn't disable the wizard, as a provider's may not, doesn't let the user start anything else.
TEST_F(CertificateWizards, DoOneThingAtATime) {
    const ToolContainer container(L"vt-w", L"--keys xs" + std::wstring(kSubject));
    HWND page = nullptr;
    const Step press = [&](HWND sheet) {
        page = Ui::Page(sheet);
        ShownBoxes::meanwhile = [=] {
            Ui::Click(page, IDC_CERTIFICATE_INSTALL);
            for (const int button : {PSBTN_BACK, PSBTN_FINISH, PSBTN_CANCEL})
                SendMessageW(sheet, PSM_PRESSBUTTON, static_cast<WPARAM>(button), 0);
            EXPECT_EQ(Ui::Page(sheet), page);
        };
        Ui::Click(page, IDC_CERTIFICATE_INSTALL);
    };
    const Step stays = [&](HWND sheet) { EXPECT_EQ(Ui::Page(sheet), page); };
    EXPECT_TRUE(Run<CWizardCertificateOnContainer>({Type(L"vt-w"), next, press, stays, finish}));
    EXPECT_EQ(shown, Boxes{Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER)});
}

TEST_F(CertificateWizards, AskBeforeTheyReplace) {
    const ToolContainer container(L"vt-w", kNoCertificates);
    const Steps steps = {TypeFile(File(container)), next, next, search, next, next, finish};
    const Box question = Told(MB_YESNO | MB_ICONINFORMATION, IDS_REPLACE_QUESTION);
    EXPECT_TRUE(Install(steps));
    EXPECT_EQ(shown, Boxes());
    EXPECT_FALSE(Install(steps, {IDNO}));
    EXPECT_EQ(shown, (Boxes{question, Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED)}));
    EXPECT_TRUE(Install(steps));
    EXPECT_EQ(shown, Boxes{question});
}

TEST_F(CertificateWizards, RefuseTheKeyOfAnotherCertificate) {
    {
        const ToolContainer other(L"vt-w", kNoCertificates);
        File(other);
    }
    const ToolContainer container(L"vt-w", kNoCertificates);
    const Step second = Shows(IDC_SELECT_PROVIDER, kProvider71), first = Shows(IDC_SELECT_PROVIDER, kProvider75);
    const Step expectClient = [&](HWND) { ShownBoxes::meanwhile = [&] { EXPECT_TRUE(ClientIsSet()); }; };
    const Steps notFound = {TypeFile(path), next, next, SelectProvider(1), back, next, second, expectClient, search},
                typed = {second, Shows(IDC_SELECT_NAME, L""),    SelectProvider(0), first, Type(L"vt-w"),
                         next,   Shows(IDC_SELECT_NAME, L"vt-w")};
    Install(notFound + typed);
    EXPECT_EQ(shown, (Boxes{Told(MB_ICONEXCLAMATION, IDS_CONTAINER_NOT_FOUND),
                            Told(MB_ICONEXCLAMATION, IDS_KEY_OF_OTHER_CERTIFICATE)}));
}

TEST_F(CertificateWizards, TakeFilesWithCertificatesOnly) {
    const StandIn<BOOL(OPENFILENAMEW*)> open("GetOpenFileNameW", [](OPENFILENAMEW* request) {
        EXPECT_EQ(request->Flags & ~DWORD{OFN_EXPLORER}, 0x00A01C09u);
        EXPECT_STREQ(request->lpstrFile, L"");
        lstrcpyW(request->lpstrFile, (kData + L"several.p7b").c_str());
        return TRUE;
    });
    const std::wstring fine = directory.Path() + std::wstring(260 - directory.Path().size(), L'x');  // the longest
    EXPECT_TRUE(CopyFileW((kData + L"one.cer").c_str(), fine.c_str(), FALSE));
    for (const std::wstring& name : {kData + L"crl.p7b", kData, std::wstring()}) {
        SCOPED_TRACE(testing::PrintToString(name));
        Install({TypeFile(fine), next, back, TypeFile(name), next, Shows(IDC_FILE_NAME, name)});
        EXPECT_EQ(shown, Boxes{Told(MB_OK, IDS_NO_CERTIFICATE_FILE)});
    }
    // The chosen certificate stays until another file is opened.
    const Step nothing = Shows(IDC_CERTIFICATE_NAME, L""), second = Shows(IDC_CERTIFICATE_NAME, L"Second"),
               disabled = Shows(IDC_CERTIFICATE_PROPERTIES, L"&Properties...", false);
    const Steps first = {Click(IDC_FILE_BROWSE),
                         Shows(IDC_FILE_NAME, kData + L"several.p7b"),
                         next,
                         disabled,
                         nothing,
                         NextIs(false),
                         Click(IDC_CERTIFICATE_BROWSE),
                         second,
                         NextIs(true)},
                same = {Click(IDC_CERTIFICATE_PROPERTIES), back, next, second},
                another = {back, TypeFile(kData + L"SEVERAL.p7b"), next, nothing};
    Install(first + same + another);
    EXPECT_EQ(viewed, std::vector(2, std::tuple(kViewOnly, -1, DWORD{0})));
    for (const wchar_t* library : {L"comdlg32.dll", L"cryptui.dll"})
        EXPECT_TRUE(GetModuleHandleW(library)) << testing::PrintToString(library) << ": its threads may go on";
}

TEST_F(CertificateWizards, BrowseTheStoresAndRepeatWhatFailed) {
    const ToolContainer container(L"vt-w", kNoCertificates);
    std::wstring chosen;
    const Step pick = [&](HWND dialog) {
        const HWND tree = FindWindowExW(dialog, nullptr, WC_TREEVIEWW, nullptr);
        wchar_t label[100] = L"";
        TVITEMW item{TVIF_TEXT, TreeView_GetRoot(tree), 0, 0, label, 100, 0, 0, 0, 0};
        TreeView_SelectItem(tree, item.hItem);
        SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
        chosen = label;
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    };
    const Step cancel = [](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); },
               picked = [&](HWND sheet) { Shows(IDC_STORE_NAME, chosen, false)(sheet); };
    std::string_view failing;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name != failing) return call();
        failing = {};
        return CryptCalls::Fail(ERROR_ACCESS_DENIED);
    });
    Steps steps = Steps{TypeFile(File(container)), next, next, search, next, Post(IDC_STORE_BROWSE), cancel} +
                  Steps{Shows(IDC_STORE_NAME, L"", false), NextIs(false), Post(IDC_STORE_BROWSE), pick, picked} +
                  Steps{NextIs(true), Click(IDC_STORE_WRITE_TO_CONTAINER), next};
    const std::wstring unique = L"REGISTRY\\vt-w";
    const struct {
        const char* function;
        UINT told;
        std::wstring container;
    } failures[] = {{"CryptGetProvParam", IDS_NO_PARAMETERS, L"vt-w"},
                    {"CryptGetUserKey", IDS_NO_KEYS, unique},
                    {"CryptGetKeyParam", IDS_NO_PARAMETERS, unique},
                    {"CryptSetKeyParam", IDS_LINK_FAILED, unique}};
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
    File(container);
    HWND sheet = nullptr;
    int opened = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name != "CryptAcquireContextW" || ++opened != 1) return call();
        const HWND page = Ui::Page(sheet), progress = GetDlgItem(page, IDC_SELECT_PROGRESS);
        EXPECT_EQ(Ui::Text(progress), L"Searching in " + std::wstring(kProvider75) + L". Press Cancel to stop.");
        EXPECT_TRUE(IsWindowVisible(progress));
        EXPECT_FALSE(GetUpdateRect(progress, nullptr, FALSE)) << "not painted yet";
        for (const UINT button : {kBack, kNext}) EXPECT_FALSE(Ui::Enabled(sheet, button)) << button;
        for (const UINT control : {IDC_SELECT_NAME, IDC_SELECT_USER, IDC_SELECT_COMPUTER})
            EXPECT_FALSE(Ui::Enabled(page, control)) << control;
        PostMessageW(GetDlgItem(sheet, kNext), BM_CLICK, 0, 0);  // meant for what was there before
        PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0);
        return call();
    });
    Install({TypeFile(path), next, next, Type(L"typed"), [&](HWND window) { sheet = window; }, search,
             Shows(IDC_SELECT_NAME, L"typed"), Shows(IDC_SELECT_PROVIDER, kProvider75),
             Shows(IDC_SELECT_COMPUTER, L"&Computer"), NextIs(true)});
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(shown, Boxes());
}

// A function fails, the container's unique name is empty, or its certificates are spoiled, while the result lives.
CryptCalls Faulty(std::string_view fault) {
    if (fault.starts_with("Cert")) return Failing(fault, ERROR_CRC);
    if (fault != "empty name") return SpoiledCertificates(fault);
    return FakedParameter(PP_UNIQUE_CONTAINER,
                          [](BYTE* data, DWORD* length, DWORD) { return Give(std::string_view("", 1), data, length); });
}

TEST_F(CertificateWizards, TellOfTheCertificatesInAContainer) {
    const struct {
        const char* name;
        const wchar_t *options, *change;  // of the container
        std::vector<UINT> told;
        DWORD key = 0;  // whose certificate is shown; 0: the wizard stays on its first page
        bool both = false;
        const char* fault = "";  // a function that fails, or how certificates are spoiled
    } cases[] = {
        {"both", L"--keys xs", L"", {}, AT_KEYEXCHANGE, true},
        {"signature only", L"--keys s", L"", {}, AT_SIGNATURE},
        {"none of the exchange key", L"--keys xs --certs s", L"", {IDS_NO_EXCHANGE_CERTIFICATE}, AT_SIGNATURE},
        {"other exchange key's", L"--keys xs", L"certificate-x=other", {IDS_OTHER_EXCHANGE_KEY}, AT_KEYEXCHANGE, true},
        {"other signature key's", L"--keys s", L"certificate-s=other", {IDS_OTHER_SIGNATURE_KEY}, AT_SIGNATURE},
        {"none", L"--keys s --certs none", L"", {IDS_NO_SIGNATURE_CERTIFICATE, IDS_NO_CERTIFICATES}},
        {"no keys", L"--keys none", L"", {IDS_NO_KEYS}},
        {"no name", L"--keys x", L"", {IDS_NO_PARAMETERS}, 0, false, "empty name"},
        {"not linked", L"", L"", {IDS_LINK_FAILED, IDS_NO_CERTIFICATES}, 0, false, "CertSetCertificateContextProperty"},
        {"no chain", L"--keys x", L"extension=1.2.643.2.2.37.3.1:0:0401FF", {}, AT_KEYEXCHANGE},
        {"cut", L"", L"", {IDS_NO_EXCHANGE_CERTIFICATE, IDS_NO_CERTIFICATES}, 0, false, "cut"},
        {"overlong", L"", L"", {IDS_NO_EXCHANGE_CERTIFICATE, IDS_NO_CERTIFICATES}, 0, false, "overlong"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolContainer container(L"vt-w", c.options);
        if (*c.change) container.Set(c.change);
        const CryptCalls calls = Faulty(c.fault);
        viewed.clear();
        Run<CWizardCertificateOnContainer>({Type(L"vt-w"), next, [&](HWND sheet) {
                                                const HWND page = Ui::Page(sheet);
                                                EXPECT_EQ(GetDlgItem(page, IDC_CERTIFICATE_INSTALL) != nullptr,
                                                          c.key != 0);
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
    const StandIn<BOOL(HCRYPTPROV)> setDefault("SetThreadDefaultCryptProv", [&](HCRYPTPROV provider) {
        EXPECT_EQ(provider, 0u);
        EXPECT_EQ(viewed.size(), 1u) << "set before the certificate was shown";
        viewed.emplace_back();
        return TRUE;
    });
    const auto refused = [&](const char* function, DWORD code) {
        return [=](HWND sheet) {
            const CryptCalls calls = Failing(function, code);
            Ui::Click(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL);
        };
    };
    const Box question = Told(MB_YESNO | MB_ICONQUESTION, IDS_REPLACE_QUESTION), error = ToldCode(ERROR_CRC),
              cancelled = Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED);
    constexpr char kAdd[] = "CertAddCertificateContextToStore";
    const Steps refusals = {refused("CertOpenStore", ERROR_CRC), refused(kAdd, ERROR_CRC),
                            refused(kAdd, ERROR_CANCELLED), refused(kAdd, HRESULT_FROM_WIN32(ERROR_CANCELLED)),
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
        EXPECT_EQ(shown, (Boxes{error, error, error, question, cancelled, question, done, done}));
        const std::tuple properties(kViewOnly, 3, DWORD{AT_KEYEXCHANGE}), reset(DWORD{0}, 0, DWORD{0}),
            browsed(kViewOnly, -1, DWORD{AT_SIGNATURE});
        EXPECT_EQ(viewed, (std::vector{properties, reset, browsed}));
        const UniqueCertificate found = Stored(machine);
        ASSERT_TRUE(found);
        const KeyLink link = ReadKeyLink(*found.get()).value_or(KeyLink{});
        EXPECT_EQ(link.container, L"REGISTRY\\vt-w");
        EXPECT_EQ(link.provider, kProvider75);
        EXPECT_EQ(link.keySet, machine ? KeySet::Computer : KeySet::User);
        const std::string owner = machine ? "computer's " : "user's ";
        EXPECT_EQ(RemoveTestCertificates(), (StoreCounts{{owner + "My", 2}, {owner + "ca", 2}, {owner + "root", 1}}));
    }
}

struct TorturedCertificateWizards : TorturedWizards<CertificateWizards> {
    // Does what a new page is for and goes on; away from one that didn't let go. No way on tells a failure, too.
    Step Leave(const Step& work, int button = PSBTN_NEXT) {
        return [=, this](HWND sheet) {
            const bool stays = left == Ui::Page(sheet);
            left = Ui::Page(sheet);
            if (!stays) work(sheet);
            if (stays && !Ui::Enabled(sheet, kNext)) shown.emplace_back();
            Ui::Press(sheet, stays ? PSBTN_CANCEL : button);
        };
    }
    const ToolContainer container{L"vt-w", L"--chain 2 --subject CN=VestraTest"};
    const Step none = [](HWND) {};
    HWND left = nullptr;
};

TEST_F(TorturedCertificateWizards, SurviveEveryFailureFromAFile) {
    const Steps steps = {Leave(TypeFile(File(container))), Leave(none), Leave(Type(L"vt-w")),
                         Leave(Click(IDC_STORE_WRITE_TO_CONTAINER)), Leave(none, PSBTN_FINISH)};
    Survive<CWizardInstallPrivateCertificate>(
        "installation from a file", steps, [&](const Fault& fault) -> std::string {
            left = nullptr;
            const UniqueCertificate found = Stored();
            const auto link = found ? ReadKeyLink(*found.get()) : std::nullopt;
            const StoreCounts expected = finished ? StoreCounts{{"user's My", 1}} : StoreCounts();
            if (RemoveTestCertificates() != expected) return "other certificates";
            if (finished && (!link || link->container != L"REGISTRY\\vt-w")) return "without the link";
            const bool told = finished == shown.empty() || (fault.memory && shown.empty());
            return told ? "" : std::to_string(shown.size()) + " messages";
        });
}

TEST_F(TorturedCertificateWizards, SurviveEveryFailureInAContainer) {
    const Step again = [&](HWND sheet) {
        shown.clear();
        Ui::Click(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL);
    };
    const Steps steps = {Leave(Type(L"vt-w")), Leave(again, PSBTN_FINISH)};
    const StoreCounts all = {{"user's My", 1}, {"user's ca", 1}, {"user's root", 1}};
    const Box success = Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER);
    Survive<CWizardCertificateOnContainer>(
        "installation from a container", steps, [&](const Fault& fault) -> std::string {
            left = nullptr;
            const StoreCounts removed = RemoveTestCertificates();
            if (std::ranges::count(shown, success) && removed != all) return "done, but not all is installed";
            for (const auto& [store, count] : removed)
                if (count != 1) return std::to_string(count) + " certificates in " + store;
            const bool told = (!shown.empty() || fault.memory) && !(finished && shown.size() > 1);
            return told ? "" : std::to_string(shown.size()) + " messages";
        });
}

}  // namespace
