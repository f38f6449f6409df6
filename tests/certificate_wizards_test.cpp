// The wizards for certificates, from a file and in a container, as users go through them.
#include <windows.h>
#include <commdlg.h>

#include <gtest/gtest.h>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/CertificateText.h"
#include "csp/KeyLink.h"
#include "tests/support/Certificates.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

using Text = std::wstring;

Box Told(UINT style, UINT id, const Text& insert = {}) {
    return {style, FormatStringId(id, insert)};
}

PCCERT_CONTEXT WINAPI ChooseFirst(const SelectCertificateRequest* request) {
    const PCCERT_CONTEXT first = CertEnumCertificatesInStore(request->rghDisplayStores[0], nullptr);
    reinterpret_cast<DisplayCertificate>(request->pDisplayCallback)(first, request->hwndParent, nullptr);
    return first;
}

Text viewed;  // flags and number of certificates in the additional store, each time, and the thread's provider set then

BOOL WINAPI View(const CRYPTUI_VIEWCERTIFICATE_STRUCTW* request, BOOL*) {
    viewed += std::to_wstring(request->dwFlags) + L"|" +
              std::to_wstring(request->cStores ? CountCertificates(request->rghStores[0]) : -1) + L"|";
    return TRUE;
}

BOOL WINAPI SetDefaultProvider(HCRYPTPROV provider) {
    viewed += L"default " + std::to_wstring(provider) + L"|";
    return TRUE;
}

// What is kept in the store for a key's identifier, and removed before an addition, by property and flags.
struct KeyIdentifiers {
    static BOOL WINAPI Remove(const CRYPT_HASH_BLOB* key, DWORD property, DWORD flags, LPCWSTR, void*, const void*) {
        EXPECT_EQ(key->cbData, 20u);
        removed.emplace_back(property, flags);
        return FALSE;  // as of systems that keep nothing
    }
    // Not every system makes an identifier from the certificate's key.
    static BOOL WINAPI Get(PCCERT_CONTEXT certificate, DWORD property, void* data, DWORD* length) {
        if (property != CERT_KEY_IDENTIFIER_PROP_ID)
            return self->get.Original<decltype(Get)>()(certificate, property, data, length);
        *length = 20;
        return TRUE;
    }
    static inline std::vector<std::pair<DWORD, DWORD>> removed;
    static inline const KeyIdentifiers* self;
    const ImportPatch remove{(self = this, removed.clear(), nullptr), "CryptSetKeyIdentifierProperty", &Remove},
        get{nullptr, "CertGetCertificateContextProperty", &Get};
};

int browsed;  // where for a store

HCERTSTORE WINAPI ChooseNone(const SelectStoreRequest* request) {
    browsed = static_cast<int>(request->pSources->rgEnumerations->dwFlags);
    return nullptr;
}

DWORD refusal;

BOOL WINAPI Refuse() {  // in any call's place
    SetLastError(refusal);
    return FALSE;
}

BOOL WINAPI OpenFile(OPENFILENAMEW* request) {
    EXPECT_TRUE((request->Flags & ~DWORD{OFN_EXPLORER}) == 0x00A01C09 && !*request->lpstrFile);
    lstrcpyW(request->lpstrFile, (kData + L"several.p7b").c_str());
    return TRUE;
}

struct CertificateWizards : WizardTest {
    ~CertificateWizards() override { RunTool(L"remove vt-w"), RunTool(L"remove vt-w --machine"); }
    static void Make(const Text& options = L"--certs none", const Text& scope = {}) {
        RunTool(L"remove vt-w" + scope);
        EXPECT_EQ(RunTool(L"create vt-w --subject CN=VestraTest " + options + scope), 0u);
    }
    // A file with a certificate of a key of vt-w.
    Text File(const Text& options = L"--key x") {
        RunTool(L"certificate vt-w --subject CN=VestraTest --out \"" + path + L"\" " + options);
        return path;
    }
    static Step TypeFile(const Text& name) {
        return [=](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_FILE_NAME, name.c_str()); };
    }
    // `first` answers the first question; the others are answered with yes.
    template <class Wizard>
    INT_PTR Go(Steps steps, int first = IDYES) {
        shown.clear(), ShownBoxes::answers = {first};
        Wizard wizard(nullptr);
        return Run(wizard, std::move(steps));
    }
    INT_PTR Install(Steps steps, int first = IDYES) {
        return Go<CWizardInstallPrivateCertificate>(std::move(steps), first);
    }
    const Step next = Press(PSBTN_NEXT), back = Press(PSBTN_BACK), finish = Press(PSBTN_FINISH),
               search = Click(IDC_SELECT_AUTOMATICALLY), none = [](HWND) {};
    static inline Boxes& shown = ShownBoxes::shown;  // by the last run
    const ShownBoxes box;
    const TemporaryDirectory directory;
    const Text path = directory.Path() + L"Имя\x202E %1.cer", shownPath = directory.Path() + L"Имя‹U+202E› %1.cer";
    const KeptStores kept;
    const LibraryFunction open{"GetOpenFileNameW", &OpenFile}, choose{"CryptUIDlgSelectCertificateW", &ChooseFirst},
        view{"CryptUIDlgViewCertificateW", &View};
};

TEST_F(CertificateWizards, GoFromTheFileToTheStoreWithALink) {
    const LibraryFunction browse("CryptUIDlgSelectStoreW", &ChooseNone);
    for (const auto& [spec, machine, write] : {std::tuple(1u, false, false), {2u, false, true}, {1u, true, true}}) {
        const Text csp = spec == 2 ? kProvider71 : kProvider75, personal = CryptFindLocalizedName(L"MY"),
                   scope = (machine ? L" --machine --provider \"" : L" --provider \"") + csp + L"\"";
        Make(L"--keys xs --certs none", scope);
        File((spec == 2 ? L"--key s" : L"--key x") + scope);
        std::vector<Text> rows = {L"Get certificate|", L"  from file|" + shownPath};
        const auto fields = [&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            const wchar_t* labels[] = {L"name", L"subject", L"issuer", L"valid from", L"valid to", L"serial number"};
            const UINT edits[] = {IDC_CERTIFICATE_NAME, IDC_CERTIFICATE_SUBJECT, IDC_CERTIFICATE_ISSUER,
                                  IDC_CERTIFICATE_FROM, IDC_CERTIFICATE_TO,      IDC_CERTIFICATE_SERIAL_NUMBER};
            for (size_t i = 0; i < 6; ++i)
                rows.push_back((i ? L"  " : L"  certificate ") + Text(labels[i]) + L"|" + Ui::Text(page, edits[i]));
            for (const UINT hidden : {IDC_CERTIFICATE_INSTALL, IDC_CERTIFICATE_NOTE, IDC_CERTIFICATE_USE})
                EXPECT_FALSE(Ui::Visible(page, hidden)) << hidden;
            EXPECT_EQ(rows[2], L"  certificate name|VestraTest");
            EXPECT_EQ(rows[4], L"  issuer|CN=VestraTest");
            EXPECT_NE(rows[7], L"  serial number|");
            EXPECT_FALSE(Ui::Enabled(page, IDC_CERTIFICATE_BROWSE));
            rows.insert(rows.end(),
                        {L"Make link|", L"  to private key|" + Text(spec == 2 ? L"signature" : L"encryption"),
                         L"  from container|vt-w", L"Install certificate|", L"  to certificate store|" + personal});
            if (write) rows.emplace_back(L"  in container|");
        };
        const auto summary = [&](HWND sheet) {
            const HWND list = GetDlgItem(Ui::Page(sheet), IDC_INSTALL_SUMMARY);
            std::vector<Text> listed;
            for (int row = 0; row < ListView_GetItemCount(list); ++row) {
                wchar_t cells[2][300] = {};
                for (const int column : {0, 1}) ListView_GetItemText(list, row, column, cells[column], 300);
                listed.push_back(cells[0] + Text(L"|") + cells[1]);
            }
            EXPECT_EQ(listed, rows);
        };
        const auto store = [&](HWND sheet) {
            Shows(IDC_STORE_NAME, personal, false)(sheet);
            EXPECT_EQ(IsDlgButtonChecked(Ui::Page(sheet), IDC_STORE_COMPUTER), UINT{machine});
            Ui::Click(Ui::Page(sheet), IDC_STORE_BROWSE);
            EXPECT_EQ(browsed, machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER);
        };
        const Step computer = machine ? Step(Click(IDC_SELECT_COMPUTER)) : none,
                   check = write ? Step(Click(IDC_STORE_WRITE_TO_CONTAINER)) : none;
        const Step named = Shows(IDC_SELECT_NAME, L"vt-w", false), its = Shows(IDC_SELECT_PROVIDER, csp, false);
        // There, back to the file, which keeps its certificate, and there again.
        const Steps there = {NextIs(false), TypeFile(path), NextIs(true), next, fields, next, computer, search},
                    again = {named, its, back, back, next, next, Shows(IDC_SELECT_NAME, L"")},
                    on = {computer, search, next, store, back, next, check, next, summary, back, next};
        EXPECT_EQ(Install(there + again + on + Steps{summary, finish}), ID_WIZFINISH);
        EXPECT_EQ(shown, Boxes{});
        const UniqueCertificate found = FindTestCertificate(SystemStore(L"My", machine).get());
        ASSERT_TRUE(found);
        const KeyLink link = ReadKeyLink(*found.get()).value_or(KeyLink{});
        CCryptProvContext opened;
        (void)opened.Acquire(machine ? CRYPT_MACHINE_KEYSET : 0, link.container.c_str(), link.provider.c_str(),
                             link.providerType);
        EXPECT_EQ(FindMatchingKey(opened.Get(), *found.get()), spec);
        EXPECT_EQ(link.keySpec, spec);
        EXPECT_EQ(link.keySet == KeySet::Computer, machine);
        UniqueCryptKey key;
        const TestBytes installed(found.get()->pbCertEncoded, found.get()->pbCertEncoded + found.get()->cbCertEncoded);
        EXPECT_TRUE(CryptGetUserKey(opened.Get(), spec, key.put()));
        EXPECT_EQ(KeyParameter(key.get(), KP_CERTIFICATE) == installed, write);
        EXPECT_EQ(RemoveTestCertificates(), machine ? "1|0|0|0|0|0|" : "0|0|0|1|0|0|");
        key.reset(), opened.Release(), RunTool(L"remove vt-w" + scope);
    }
}

// A window that doesn't disable the wizard, as a provider's may not, doesn't let the user start anything else.
TEST_F(CertificateWizards, DoOneThingAtATime) {
    Make(L"--keys xs");
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
    const auto stays = [&](HWND sheet) { EXPECT_EQ(Ui::Page(sheet), page); };
    EXPECT_EQ(Go<CWizardCertificateOnContainer>({Type(L"vt-w"), next, press, stays, finish}), ID_WIZFINISH);
    EXPECT_EQ(shown, Boxes{Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER)});
}

TEST_F(CertificateWizards, AskBeforeTheyReplaceAndRefuseOtherKeys) {
    Make();
    const Steps steps = {TypeFile(File()), next, next, search, next, next, finish};
    const Box question = Told(MB_YESNO | MB_ICONINFORMATION, IDS_REPLACE_QUESTION);
    const KeyIdentifiers identifiers;
    EXPECT_EQ(Install(steps), ID_WIZFINISH);
    EXPECT_EQ(shown, Boxes());
    EXPECT_EQ(Install(steps, IDNO), IDCANCEL);
    EXPECT_EQ(shown, (Boxes{question, Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED)}));
    EXPECT_TRUE(WriteKeyLink(*FindTestCertificate(SystemStore(L"My").get()).get(), {L"before", kProvider75, 75}));
    EXPECT_EQ(Install(steps), ID_WIZFINISH);
    EXPECT_EQ(shown, Boxes{question});
    const auto link = ReadKeyLink(*FindTestCertificate(SystemStore(L"My").get()).get());
    EXPECT_EQ(link.value_or(KeyLink{}).container, L"REGISTRY\\vt-w") << "not replaced";
    EXPECT_EQ(RemoveTestCertificates(), "0|0|0|1|0|0|");
    using Removed = std::vector<std::pair<DWORD, DWORD>>;
    EXPECT_EQ(KeyIdentifiers::removed, Removed(3, {0, CRYPT_KEYID_DELETE_FLAG}));
    Make();
    const auto other = [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 1); };
    const Step second = Shows(IDC_SELECT_PROVIDER, kProvider71), first = Shows(IDC_SELECT_PROVIDER, kProvider75);
    const Step expectClient = [](HWND) { ShownBoxes::meanwhile = [] { EXPECT_TRUE(ClientIsSet()); }; };
    Install({TypeFile(path), next, next, other, back, next, second, expectClient, search, second,
             Shows(IDC_SELECT_NAME, L""), [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 0); },
             first, Type(L"vt-w"), next, Shows(IDC_SELECT_NAME, L"vt-w")});
    EXPECT_EQ(shown, (Boxes{{MB_ICONEXCLAMATION, L"Corresponding container not found"},
                            Told(MB_ICONEXCLAMATION, IDS_KEY_OF_OTHER_CERTIFICATE)}));
}

TEST_F(CertificateWizards, TakeFilesWithCertificatesOnly) {
    const Text fine = directory.Path() + Text(260 - directory.Path().size(), L'x');  // as long as may be
    EXPECT_TRUE(CopyFileW((kData + L"one.cer").c_str(), fine.c_str(), FALSE));
    for (const Text& name : {kData + L"crl.p7b", kData, Text()}) {
        Install({TypeFile(fine), next, back, TypeFile(name), next, Shows(IDC_FILE_NAME, name)});
        EXPECT_EQ(shown, Boxes{Told(MB_OK, IDS_NO_CERTIFICATE_FILE)}) << testing::PrintToString(name);
    }
    const Step nothing = Shows(IDC_CERTIFICATE_NAME, L""), second = Shows(IDC_CERTIFICATE_NAME, L"Second");
    viewed.clear();
    Install({Click(IDC_FILE_BROWSE), Shows(IDC_FILE_NAME, kData + L"several.p7b"), next,
             Shows(IDC_CERTIFICATE_PROPERTIES, L"&Properties...", false), nothing, NextIs(false),
             Click(IDC_CERTIFICATE_BROWSE), second, NextIs(true), Click(IDC_CERTIFICATE_PROPERTIES), back, next, second,
             back, TypeFile(kData + L"SEVERAL.p7b"), next, nothing});
    EXPECT_EQ(viewed, L"20|-1|20|-1|");
    EXPECT_TRUE(GetModuleHandleW(L"comdlg32.dll") && GetModuleHandleW(L"cryptui.dll"));  // their threads may go on
}

TEST_F(CertificateWizards, BrowseTheStoresAndRepeatWhatFailed) {
    Make();
    Text chosen;
    const auto pick = [&](HWND dialog) {
        const HWND tree = FindWindowExW(dialog, nullptr, WC_TREEVIEWW, nullptr);
        wchar_t label[100] = L"";
        TVITEMW item{TVIF_TEXT, TreeView_GetRoot(tree), 0, 0, label, 100, 0, 0, 0, 0};
        TreeView_SelectItem(tree, item.hItem);
        SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item));
        chosen = label;
        PostMessageW(dialog, WM_COMMAND, IDOK, 0);
    };
    const auto cancel = [](HWND dialog) { PostMessageW(dialog, WM_COMMAND, IDCANCEL, 0); };
    const auto picked = [&](HWND sheet) { Shows(IDC_STORE_NAME, chosen, false)(sheet); };
    std::string_view failing;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        const bool fails = call.name == failing;
        if (fails) failing = {};
        return fails ? CryptCalls::Fail(ERROR_ACCESS_DENIED) : call();
    });
    Steps steps = Steps{TypeFile(File()), next, next, search, next, Post(IDC_STORE_BROWSE), cancel} +
                  Steps{Shows(IDC_STORE_NAME, L"", false), NextIs(false), Post(IDC_STORE_BROWSE), pick, picked} +
                  Steps{NextIs(true), Click(IDC_STORE_WRITE_TO_CONTAINER), next};
    for (const char* name : {"CryptGetProvParam", "CryptGetUserKey", "CryptGetKeyParam", "CryptSetKeyParam"})
        steps = steps + Steps{[&failing, name](HWND) { failing = name; }, finish};
    EXPECT_EQ(Install(steps + Steps{finish}), ID_WIZFINISH);
    const auto warned = [](UINT id, const Text& container) { return Told(MB_ICONEXCLAMATION, id, container); };
    const Text unique = L"REGISTRY\\vt-w";
    EXPECT_EQ(shown, (Boxes{warned(IDS_NO_PARAMETERS, L"vt-w"), warned(IDS_NO_KEYS, unique),
                            warned(IDS_NO_PARAMETERS, unique), warned(IDS_LINK_FAILED, unique)}));
}

TEST_F(CertificateWizards, StopSearching) {
    Make(), File();
    for (const bool key : {true, false}) {
        HWND sheet = nullptr;
        int opened = 0;
        const CryptCalls calls([&](const CryptCalls::Call& call) {
            if (call.name == "CryptAcquireContextW" && ++opened == 1) {
                const HWND progress = GetDlgItem(Ui::Page(sheet), IDC_SELECT_PROGRESS);
                EXPECT_EQ(Ui::Text(progress), L"Searching in " + Text(kProvider75) + L". Press Cancel to stop.");
                EXPECT_TRUE(IsWindowVisible(progress) && !GetUpdateRect(progress, nullptr, FALSE));
                for (const UINT button : {kBack, kNext}) EXPECT_FALSE(Ui::Enabled(sheet, button)) << button;
                for (const UINT control : {IDC_SELECT_NAME, IDC_SELECT_USER, IDC_SELECT_COMPUTER})
                    EXPECT_FALSE(Ui::Enabled(Ui::Page(sheet), control)) << control;
                PostMessageW(GetDlgItem(sheet, kNext), BM_CLICK, 0, 0);  // meant for what was there before
                PostMessageW(key ? GetFocus() : GetDlgItem(sheet, IDCANCEL), key ? WM_KEYDOWN : BM_CLICK,
                             key ? VK_ESCAPE : 0, 0);
            }
            return call();
        });
        Install({TypeFile(path), next, next, Type(L"typed"), [&](HWND window) { sheet = window; }, search,
                 Shows(IDC_SELECT_NAME, L"typed"), Shows(IDC_SELECT_PROVIDER, kProvider75),
                 Shows(IDC_SELECT_COMPUTER, L"&Computer"), NextIs(true)});
        EXPECT_TRUE(opened == 1 && shown.empty());
    }
}

TEST_F(CertificateWizards, TellOfTheCertificatesInAContainer) {
    using Case = std::tuple<const wchar_t*, const wchar_t*, std::vector<UINT>, int>;  // certificates in the end
    for (const auto& [options, change, told, count] :
         {Case(L"--keys xs", L"", {}, 2), Case(L"--keys s", L"extension=1.2.3:0:0401FF", {}, 1),
          Case(L"--keys xs --certs s", L"", {IDS_NO_EXCHANGE_CERTIFICATE}, 1),
          Case(L"--keys xs", L"certificate-x=other", {IDS_OTHER_EXCHANGE_KEY}, 2),
          Case(L"--keys s", L"certificate-s=other", {IDS_OTHER_SIGNATURE_KEY}, 1),
          Case(L"--keys s --certs none", L"", {IDS_NO_SIGNATURE_CERTIFICATE, IDS_NO_CERTIFICATES}, 0),
          Case(L"--keys none", L"", {IDS_NO_KEYS}, 0),
          Case(L"--keys x", nullptr, {IDS_LINK_FAILED, IDS_NO_CERTIFICATES}, 0),
          Case(L"--keys x", L"extension=1.2.643.2.2.37.3.1:0:0401FF", {}, 1),  // not a chain, but no reason to stop
          Case(L"--keys x", L"cut", {IDS_NO_EXCHANGE_CERTIFICATE, IDS_NO_CERTIFICATES}, 0),
          Case(L"--keys x", L"overlong", {IDS_NO_EXCHANGE_CERTIFICATE, IDS_NO_CERTIFICATES}, 0)}) {
        Make(options);
        std::optional<ImportPatch> link;
        const CryptCalls calls = SpoiledCertificates(change ? change : L"");
        if (!change) link.emplace(nullptr, "CertSetCertificateContextProperty", &Refuse);
        if (change && wcschr(change, L'=')) RunTool(L"set vt-w " + Text(change));
        Go<CWizardCertificateOnContainer>(
            {Type(L"vt-w"), next, [&, expected = count](HWND sheet) {
                 EXPECT_EQ(!!GetDlgItem(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL), expected > 0);
                 EXPECT_EQ(Ui::Visible(Ui::Page(sheet), IDC_CERTIFICATE_NOTE), expected == 2);
             }});
        Boxes expected;
        for (const UINT id : told) expected.push_back(Told(MB_ICONEXCLAMATION, id, L"vt-w"));
        EXPECT_EQ(shown, expected) << testing::PrintToString(Text(options) + (change ? change : L", not linked"));
    }
}

TEST_F(CertificateWizards, InstallWhatAContainerHolds) {
    const LibraryFunction setDefault("SetThreadDefaultCryptProv", &SetDefaultProvider);
    const Box question = Told(MB_YESNO | MB_ICONQUESTION, IDS_REPLACE_QUESTION),
              ended(MB_ICONERROR, ErrorMessageText(ERROR_NO_MORE_ITEMS)),
              cancelled = Told(MB_ICONINFORMATION, IDS_INSTALL_CANCELLED),
              error(MB_ICONERROR, ErrorMessageText(ERROR_CRC));
    const auto refuse = [](const char* function, DWORD code) {
        return [=](HWND sheet) {
            refusal = code;
            const ImportPatch refused(nullptr, function, &Refuse);
            Ui::Click(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL);
        };
    };
    constexpr char kAdd[] = "CertAddCertificateContextToStore";
    const Step install = Click(IDC_CERTIFICATE_INSTALL);
    const Steps refusals = {refuse("CertOpenStore", ERROR_CRC), refuse(kAdd, ERROR_CRC), refuse(kAdd, ERROR_CANCELLED),
                            refuse(kAdd, HRESULT_FROM_WIN32(ERROR_CANCELLED)),
                            refuse("CertAddEncodedCertificateToStore", ERROR_CRC)};
    const Step endless = refuse("CertAddEncodedCertificateToStore", ERROR_NO_MORE_ITEMS);  // no listing's end
    for (const bool machine : {false, true}) {
        viewed.clear(), Make(L"--keys xs --chain 3", machine ? L" --machine" : L"");
        const Steps there = {machine ? Step(Click(IDC_SELECT_COMPUTER)) : none, Type(L"vt-w"), next},
                    all = {Click(IDC_CERTIFICATE_PROPERTIES), install, endless, install,
                           Click(IDC_CERTIFICATE_BROWSE),     install};
        EXPECT_EQ(Go<CWizardCertificateOnContainer>(there + refusals + all + Steps{finish}, IDNO), ID_WIZFINISH);
        const Box done = Told(MB_ICONINFORMATION, machine ? IDS_INSTALLED_FOR_COMPUTER : IDS_INSTALLED_FOR_USER);
        EXPECT_EQ(shown, (Boxes{error, error, error, question, cancelled, question, ended, question, done, done}));
        EXPECT_EQ(viewed, L"20|3|default 0|20|-1|");
        const UniqueCertificate found = FindTestCertificate(SystemStore(L"My", machine).get());
        const KeyLink link = found ? ReadKeyLink(*found.get()).value_or(KeyLink{}) : KeyLink{};
        EXPECT_EQ(link.container + L"|" + link.provider, L"REGISTRY\\vt-w|" + Text(kProvider75));
        EXPECT_EQ(link.keySet == KeySet::Computer, machine);
        EXPECT_EQ(RemoveTestCertificates(), machine ? "2|2|1|0|0|0|" : "0|0|0|2|2|1|");
    }
}

// The extension's identifier decides; what isn't certificates is reported once they are to be installed.
TEST_F(CertificateWizards, InstallTheChainByItsKind) {
    Make();
    const std::string file = Read(File()), size = {char(file.size() >> 8), char(file.size())};
    Text chain;
    for (const char byte : "\x30\x82" + size + file) {
        wchar_t digits[3];
        swprintf(digits, 3, L"%02X", static_cast<BYTE>(byte));
        chain += digits;
    }
    using Case = std::tuple<Text, Text, const char*, bool>;
    for (const auto& [identifier, value, installed, good] :
         {Case(L"1.2.643.2.2.37.3.1", chain, "0|0|0|1|1|0|", true),
          {L"1.2.643.2.2.37.3.2", chain, "0|0|0|1|0|1|", true},
          {L"1.2.643.2.2.37.3.3", chain, "0|0|0|1|0|1|", true},
          {L"1.2.643.2.2.37.3.4", chain, "0|0|0|1|0|0|", true},
          {L"1.2.643.2.2.37.3.3", L"0401FF", "0|0|0|1|0|0|", false}}) {
        Make(L"--keys xs"), RunTool(L"set vt-w extension=" + identifier + L":0:" + value);
        CCryptProvContext opened;
        (void)opened.Acquire(0, L"vt-w", kProvider75, 75);
        UniqueCryptKey exchange;
        CryptGetUserKey(opened.Get(), AT_KEYEXCHANGE, exchange.put());
        const TestBytes encoded = KeyParameter(exchange.get(), KP_CERTIFICATE);
        const UniqueCertificate first(
            CertCreateCertificateContext(X509_ASN_ENCODING, encoded.data(), static_cast<DWORD>(encoded.size())));
        ASSERT_TRUE(first);
        exchange.reset(), opened.Release();
        Go<CWizardCertificateOnContainer>(
            {Type(L"vt-w"), next,
             Shows(IDC_CERTIFICATE_SERIAL_NUMBER, SerialNumberText(first.get()->pCertInfo->SerialNumber)),
             Click(IDC_CERTIFICATE_INSTALL)});
        EXPECT_EQ(shown.size(), 1u);
        EXPECT_EQ(shown.front() == Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER), good);
        EXPECT_EQ(RemoveTestCertificates(), installed) << testing::PrintToString(identifier + value.substr(0, 9));
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
    HWND left = nullptr;
};

TEST_F(TorturedCertificateWizards, SurviveEveryFailingCall) {
    Make(L"--chain 2");
    const Steps fromFile = {Leave(TypeFile(File())), Leave(none), Leave(Type(L"vt-w")),
                            Leave(Click(IDC_STORE_WRITE_TO_CONTAINER)), Leave(none, PSBTN_FINISH)};
    const auto fromFileVerdict = [&](const Fault& fault) -> std::string {
        left = nullptr;
        const UniqueCertificate found = FindTestCertificate(SystemStore(L"My").get());
        const auto link = found ? ReadKeyLink(*found.get()) : std::nullopt;
        if (RemoveTestCertificates() != (finished ? "0|0|0|1|0|0|" : "0|0|0|0|0|0|")) return "other certificates";
        if (finished && (!link || link->container != L"REGISTRY\\vt-w")) return "without the link";
        const bool told = finished == shown.empty() || (fault.memory && shown.empty());
        return told ? "" : std::to_string(shown.size()) + " messages";
    };
    Survive<CWizardInstallPrivateCertificate>("installation from a file", fromFile, fromFileVerdict);
    const auto install = [&](HWND sheet) { shown.clear(), Ui::Click(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL); };
    const Steps inContainer = {Leave(Type(L"vt-w")), Leave(install, PSBTN_FINISH)};
    const auto inContainerVerdict = [&](const Fault& fault) -> std::string {
        left = nullptr;
        const bool done = std::ranges::count(shown, Told(MB_ICONINFORMATION, IDS_INSTALLED_FOR_USER)) > 0;
        const std::string removed = RemoveTestCertificates();
        if (done && removed != "0|0|0|1|1|1|") return "done, but there are " + removed;
        if (removed.find_first_not_of("01|") != removed.npos) return "certificates twice: " + removed;
        return (shown.empty() && !fault.memory) || (finished && shown.size() > 1)
                   ? std::to_string(shown.size()) + " messages"
                   : "";
    };
    Survive<CWizardCertificateOnContainer>("installation from a container", inContainer, inContainerVerdict);
}

}  // namespace
