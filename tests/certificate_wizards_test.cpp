// The wizards for certificates, from a file and in a container, as users go through them.
#include <windows.h>
#include <commdlg.h>

#include <gtest/gtest.h>

#include "applet/services/Strings.h"
#include "csp/CheckTexts.h"
#include "csp/ContainerCheck.h"
#include "csp/KeyLink.h"
#include "csp/KeyMatch.h"
#include "tests/support/Certificates.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/CryptUi.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

extern "C" void APIENTRY WizInstallPrivateCertificate(HWND parent) noexcept;
extern "C" void APIENTRY WizViewCertificateInContainer(HWND parent) noexcept;

namespace {

using Text = std::wstring;

// What the check says of certificates in stores.
struct StoreRows final : CheckReport {
    void Row(UINT, UINT) override {}
    void Row(UINT label, std::wstring_view value) override { text += label == kTextCertificateInStore ? value : L""; }
    void Failure(UINT, DWORD) override {}
    void Continuation(std::wstring_view value) override { text += value; }
    void Continuation(UINT) override {}
    void Verdict(UINT, UINT) override {}
    Text text;
};

PCCERT_CONTEXT WINAPI ChooseFirst(const SelectCertificateRequest* request) {
    const PCCERT_CONTEXT first = CertEnumCertificatesInStore(request->rghDisplayStores[0], nullptr);
    reinterpret_cast<DisplayCertificate>(request->pDisplayCallback)(first, request->hwndParent, nullptr);
    return first;
}

Text viewed;  // flags and number of certificates in the additional store, each time

BOOL WINAPI View(const CRYPTUI_VIEWCERTIFICATE_STRUCTW* request, BOOL*) {
    viewed += std::to_wstring(request->dwFlags) + L"|" +
              std::to_wstring(request->cStores ? CountCertificates(request->rghStores[0]) : -1) + L"|";
    return TRUE;
}

BOOL WINAPI OpenFile(OPENFILENAMEW* request) {
    EXPECT_TRUE((request->Flags & ~DWORD{OFN_EXPLORER}) == 0x00A01C09 && !*request->lpstrFile);
    lstrcpyW(request->lpstrFile, (kData + L"several.p7b").c_str());
    return TRUE;
}

struct CertificateWizards : WizardTest {
    ~CertificateWizards() override { RunTool(L"remove vt-w"), RunTool(L"remove vt-w --machine"); }
    static void Make(const Text& options = L"--certs none") {
        RunTool(L"remove vt-w");
        EXPECT_EQ(RunTool(L"create vt-w --subject CN=VestraTest " + options), 0u);
    }
    // A file with a certificate of a key of vt-w.
    Text File(const Text& options = L"--key x") {
        RunTool(L"certificate vt-w --subject CN=VestraTest --out \"" + path + L"\" " + options);
        return path;
    }
    static Step TypeFile(const Text& name) {
        return [=](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_FILE_NAME, name.c_str()); };
    }
    template <class Wizard>
    INT_PTR Go(Steps steps, std::deque<int> answers = {}) {
        Wizard wizard(nullptr);
        return Run(wizard, std::move(steps), std::move(answers));
    }
    INT_PTR Install(Steps steps, std::deque<int> answers = {}) {
        return Go<CWizardInstallPrivateCertificate>(std::move(steps), std::move(answers));
    }
    const Step next = Press(PSBTN_NEXT), back = Press(PSBTN_BACK), finish = Press(PSBTN_FINISH),
               search = Click(IDC_SELECT_AUTOMATICALLY), none = [](HWND) {};
    const TemporaryDirectory directory;
    const Text path = directory.Path() + L"Имя %1.cer";
    const KeptStores kept;
    const LibraryFunction open{"GetOpenFileNameW", &OpenFile}, choose{"CryptUIDlgSelectCertificateW", &ChooseFirst},
        view{"CryptUIDlgViewCertificateW", &View};
};

TEST_F(CertificateWizards, GoFromTheFileToTheStoreWithALink) {
    for (const auto& [spec, machine, write] : {std::tuple(1u, false, false), {2u, false, true}, {1u, true, true}}) {
        const Text scope = machine ? L" --machine" : L"", personal = CryptFindLocalizedName(L"MY");
        Make(L"--keys xs --certs none" + scope);
        File((spec == 2 ? L"--key s" : L"--key x") + scope);
        std::vector<Text> rows = {L"Get certificate|", L"  from file|" + path};
        const auto fields = [&](HWND sheet) {
            const HWND page = Ui::Page(sheet);
            const wchar_t* labels[] = {L"name", L"subject", L"issuer", L"valid from", L"valid to", L"serial number"};
            const UINT edits[] = {IDC_CERTIFICATE_NAME, IDC_CERTIFICATE_SUBJECT, IDC_CERTIFICATE_ISSUER,
                                  IDC_CERTIFICATE_FROM, IDC_CERTIFICATE_TO,      IDC_CERTIFICATE_SERIAL_NUMBER};
            for (size_t i = 0; i < 6; ++i)
                rows.push_back((i ? L"  " : L"  certificate ") + Text(labels[i]) + L"|" + Ui::Text(page, edits[i]));
            for (const UINT hidden : {IDC_CERTIFICATE_INSTALL, IDC_CERTIFICATE_NOTE, IDC_CERTIFICATE_USE})
                EXPECT_FALSE(Ui::Visible(page, hidden)) << hidden;
            EXPECT_TRUE(rows[2].ends_with(L"|VestraTest") && rows[4].ends_with(L"|CN=VestraTest"));
            EXPECT_FALSE(rows[7].ends_with(L"|") || Ui::Enabled(page, IDC_CERTIFICATE_BROWSE));
            for (const Text& row :
                 {Text(L"Make link|"), Text(L"  to private key|") + (spec == 2 ? L"signature" : L"encryption"),
                  Text(L"  from container|vt-w"), Text(L"Install certificate|"), L"  to certificate store|" + personal})
                rows.push_back(row);
            if (write) rows.emplace_back(L"  in container|");
        };
        const auto summary = [&](HWND sheet) {
            const HWND list = GetDlgItem(Ui::Page(sheet), IDC_INSTALL_SUMMARY);
            std::vector<Text> shown;
            for (int row = 0; row < ListView_GetItemCount(list); ++row) {
                wchar_t cells[2][300] = {};
                for (const int column : {0, 1}) ListView_GetItemText(list, row, column, cells[column], 300);
                shown.push_back(cells[0] + Text(L"|") + cells[1]);
            }
            EXPECT_EQ(shown, rows);
        };
        const auto store = [&](HWND sheet) {
            Shows(IDC_STORE_NAME, personal, false)(sheet);
            EXPECT_EQ(IsDlgButtonChecked(Ui::Page(sheet), IDC_STORE_COMPUTER), UINT{machine});
        };
        const Step computer = machine ? Step(Click(IDC_SELECT_COMPUTER)) : none,
                   check = write ? Step(Click(IDC_STORE_WRITE_TO_CONTAINER)) : none;
        // There, back to the file, which keeps its certificate, and there again.
        const Steps there = {NextIs(false), TypeFile(path), NextIs(true), next, fields, next, computer, search},
                    again = {Shows(IDC_SELECT_NAME, L"vt-w", false), back, back, next, next},
                    on = {Shows(IDC_SELECT_NAME, L""), computer, search, next, store, check, next, summary, back, next};
        EXPECT_EQ(Install(there + again + on + Steps{summary, finish}), ID_WIZFINISH);
        EXPECT_EQ(boxes, Texts{});
        const UniqueCertificate found = FindTestCertificate(SystemStore(L"My", machine).get());
        ASSERT_TRUE(found);
        const KeyLink link = ReadKeyLink(*found.get()).value_or(KeyLink{});
        CCryptProvContext opened;
        opened.Acquire(machine ? CRYPT_MACHINE_KEYSET : 0, link.container.c_str(), link.provider.c_str(), 75);
        EXPECT_TRUE(FindMatchingKey(opened.Get(), *found.get()) == spec && link.keySpec == spec);
        HCRYPTPROV_OR_NCRYPT_KEY_HANDLE provider = 0;
        DWORD opens = spec;
        // Not every system's function looks among the machine's containers.
        if (!machine) CryptAcquireCertificatePrivateKey(found.get(), 0, nullptr, &provider, &opens, nullptr);
        EXPECT_TRUE((machine || provider) && opens == spec);
        const UniqueProviderReference reference(provider);
        StoreRows report;
        CheckContainer(opened.Get(), machine ? KeySet::Computer : KeySet::User, report);
        EXPECT_EQ(report.text.find(L"My  VestraTest\t    REGISTRY\\vt-w; ") != Text::npos, write);
        EXPECT_EQ(RemoveTestCertificates(), machine ? "1|0|0|0|0|0|" : "0|0|0|1|0|0|");
    }
}

TEST_F(CertificateWizards, AskBeforeTheyReplaceAndRefuseOtherKeys) {
    Make();
    const Steps steps = {TypeFile(File()), next, next, search, next, next, finish};
    const Text question = LoadStringLang(IDS_REPLACE_QUESTION);
    EXPECT_EQ(Install(steps), ID_WIZFINISH);
    EXPECT_EQ(Install(steps, {IDNO}), IDCANCEL);
    EXPECT_EQ(boxes, (Texts{question, LoadStringLang(IDS_INSTALL_CANCELLED)}));
    EXPECT_EQ(Install(steps, {IDYES}), ID_WIZFINISH);
    EXPECT_EQ(boxes, Texts{question});
    Make();
    Install({TypeFile(path), next, next, search, Shows(IDC_SELECT_NAME, L""), Shows(IDC_SELECT_PROVIDER, kProvider75),
             Type(L"vt-w"), next, Shows(IDC_SELECT_NAME, L"vt-w")});
    EXPECT_EQ(boxes, (Texts{L"Corresponding container not found", LoadStringLang(IDS_KEY_OF_OTHER_CERTIFICATE)}));
}

TEST_F(CertificateWizards, TakeFilesWithCertificatesOnly) {
    const Text fine = kData + L"one.cer";
    for (const Text& name : {kData + L"crl.p7b", kData, kData + L"none.cer", Text(260, L'x'), Text()}) {
        Install({TypeFile(fine), next, back, TypeFile(name), next, Shows(IDC_FILE_NAME, name)});
        EXPECT_EQ(boxes, Texts{LoadStringLang(IDS_NO_CERTIFICATE_FILE)}) << testing::PrintToString(name);
    }
    const Step nothing = Shows(IDC_CERTIFICATE_NAME, L""), second = Shows(IDC_CERTIFICATE_NAME, L"Second");
    viewed.clear();
    Install({Click(IDC_FILE_BROWSE), Shows(IDC_FILE_NAME, kData + L"several.p7b"), next,
             Shows(IDC_CERTIFICATE_PROPERTIES, L"&Properties...", false), nothing, NextIs(false),
             Click(IDC_CERTIFICATE_BROWSE), second, NextIs(true), Click(IDC_CERTIFICATE_PROPERTIES), back, next, second,
             back, TypeFile(kData + L"SEVERAL.p7b"), next, nothing});
    EXPECT_EQ(viewed, L"20|-1|20|-1|");
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
    const auto shown = [&](HWND sheet) {
        EXPECT_TRUE(!chosen.empty() && Ui::Text(Ui::Page(sheet), IDC_STORE_NAME) == chosen);
    };
    std::string_view failing;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        const bool fails = call.name == failing;
        if (fails) failing = {};
        return fails ? CryptCalls::Fail(ERROR_ACCESS_DENIED) : call();
    });
    Steps steps = Steps{TypeFile(File()), next, next, search, next, Post(IDC_STORE_BROWSE), cancel} +
                  Steps{Shows(IDC_STORE_NAME, L"", false), NextIs(false), Post(IDC_STORE_BROWSE), pick, shown} +
                  Steps{NextIs(true), Click(IDC_STORE_WRITE_TO_CONTAINER), next};
    for (const char* name : {"CryptGetProvParam", "CryptGetUserKey", "CryptGetKeyParam", "CryptSetKeyParam"})
        steps = steps + Steps{[&failing, name](HWND) { failing = name; }, finish};
    EXPECT_EQ(Install(steps + Steps{finish}), ID_WIZFINISH);
    const Text unique = L"REGISTRY\\vt-w";
    EXPECT_EQ(boxes, (Texts{FormatStringId(IDS_NO_PARAMETERS, L"vt-w"), FormatStringId(IDS_NO_KEYS, unique),
                            FormatStringId(IDS_NO_PARAMETERS, unique), FormatStringId(IDS_LINK_FAILED, unique)}));
}

TEST_F(CertificateWizards, StopSearching) {
    Make(), File();
    for (const bool key : {true, false}) {
        HWND sheet = nullptr;
        int opened = 0;
        const CryptCalls calls([&](const CryptCalls::Call& call) {
            if (call.name == "CryptAcquireContextW" && ++opened == 1) {
                const HWND progress = GetDlgItem(Ui::Page(sheet), IDC_SELECT_PROGRESS);
                EXPECT_TRUE(Ui::Text(progress) == L"Searching in " + Text(kProvider75) && IsWindowVisible(progress) &&
                            !GetUpdateRect(progress, nullptr, FALSE));
                PostMessageW(GetDlgItem(sheet, kNext), BM_CLICK, 0, 0);  // meant for what was there before
                PostMessageW(key ? GetFocus() : GetDlgItem(sheet, IDCANCEL), key ? WM_KEYDOWN : BM_CLICK,
                             key ? VK_ESCAPE : 0, 0);
            }
            return call();
        });
        Install({TypeFile(path), next, next, Type(L"typed"), [&](HWND window) { sheet = window; }, search,
                 Shows(IDC_SELECT_NAME, L"typed"), Shows(IDC_SELECT_PROVIDER, kProvider75),
                 [&](HWND) { EXPECT_EQ(opened, 1); }});
        EXPECT_EQ(boxes, Texts{});
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
          Case(L"--keys x", L"extension=1.2.643.2.2.37.3.1:0:0401FF", {IDS_NO_PARAMETERS}, 0)}) {
        Make(options);
        if (*change) RunTool(L"set vt-w " + Text(change));
        Go<CWizardCertificateOnContainer>(
            {Type(L"vt-w"), next, [&, expected = count](HWND sheet) {
                 EXPECT_EQ(!!GetDlgItem(Ui::Page(sheet), IDC_CERTIFICATE_INSTALL), expected > 0);
                 EXPECT_EQ(Ui::Visible(Ui::Page(sheet), IDC_CERTIFICATE_NOTE), expected == 2);
             }});
        Texts texts;
        for (const UINT id : told) texts.push_back(FormatStringId(id, L"vt-w"));
        EXPECT_EQ(boxes, texts) << testing::PrintToString(Text(options) + change);
    }
}

TEST_F(CertificateWizards, InstallWhatAContainerHolds) {
    const Text question = LoadStringLang(IDS_REPLACE_QUESTION), cancelled = LoadStringLang(IDS_INSTALL_CANCELLED);
    const Step install = Click(IDC_CERTIFICATE_INSTALL);
    for (const bool machine : {false, true}) {
        viewed.clear(), Make(L"--keys xs --chain 3" + Text(machine ? L" --machine" : L""));
        EXPECT_EQ(Go<CWizardCertificateOnContainer>({machine ? Step(Click(IDC_SELECT_COMPUTER)) : none, Type(L"vt-w"),
                                                     next, Click(IDC_CERTIFICATE_PROPERTIES), install, install, install,
                                                     Click(IDC_CERTIFICATE_BROWSE), install, finish},
                                                    {IDOK, IDNO, IDOK, IDYES}),
                  ID_WIZFINISH);
        const Text done = LoadStringLang(machine ? IDS_INSTALLED_FOR_COMPUTER : IDS_INSTALLED_FOR_USER);
        EXPECT_EQ(boxes, (Texts{done, question, cancelled, question, done, done}));
        EXPECT_EQ(viewed, L"20|3|20|-1|");
        EXPECT_EQ(RemoveTestCertificates(), machine ? "2|2|1|0|0|0|" : "0|0|0|2|2|1|");
    }
}

TEST_F(CertificateWizards, OpenForOtherPrograms) {
    ModalScript script(
        {Press(PSBTN_CANCEL), [](HWND sheet) { EXPECT_TRUE(GetDlgItem(Ui::Page(sheet), IDC_SELECT_NAME)); }});
    WizInstallPrivateCertificate(nullptr);
    WizViewCertificateInContainer(nullptr);
    EXPECT_TRUE(script.Finished());
}

}  // namespace
