// The wizards that delete and copy containers and change their passwords, against the software provider.
#include <gtest/gtest.h>

#include <winscard.h>

#include <cstring>
#include <optional>
#include <set>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/ProviderParameters.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/Certificates.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/Panel.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"

namespace {

constexpr UINT kPassword = 1003, kNewPassword = 1004, kConfirmation = 1005;  // in the provider's dialogs
constexpr HRESULT kWrong = SCARD_W_WRONG_CHV;

Box Told(const wchar_t* name, HRESULT code, UINT id = IDS_CONTAINER_ACCESS_FAILED) {
    const UINT icon = id == IDS_CONTAINER_ACCESS_FAILED ? MB_ICONERROR : MB_ICONEXCLAMATION;
    return {icon, FormatStringId(id, name, ErrorMessageText(static_cast<DWORD>(code)))};
}

bool Exists(const wchar_t* name, DWORD type = 75, DWORD flags = 0) {
    CCryptProvContext context;
    return !!context.Acquire(CRYPT_SILENT | flags, name, nullptr, type);
}

class ContainerWizard : public WizardTest {
  protected:
    ContainerWizard() { RunTool(L"set NewPassword=0"); }
    ~ContainerWizard() override { RunTool(L"set NewPassword="); }

    // Fills the provider's dialog in and ends it.
    static Step Answer(int button, const wchar_t* password = L"", const wchar_t* next = L"") {
        return [=](HWND dialog) {
            EXPECT_FALSE(Ui::Page(dialog)) << "no dialog of the provider";
            Ui::Type(dialog, kPassword, password);
            for (const UINT edit : {kNewPassword, kConfirmation}) Ui::Type(dialog, edit, next);
            PostMessageW(dialog, WM_COMMAND, static_cast<WPARAM>(button), 0);
        };
    }
    // Whether the wizard finishes.
    template <class Wizard>
    static bool Run(const std::vector<Step>& steps) {
        shown.clear();
        const ModalScript script(steps);
        return Wizard(nullptr).DoModal() == ID_WIZFINISH;
    }
    const Step finish = Press(PSBTN_FINISH), next = Press(PSBTN_NEXT), computer = Click(IDC_SELECT_COMPUTER);
    const ShownBoxes patch;
    static inline Boxes& shown = ShownBoxes::shown;  // by the last run
};

TEST_F(ContainerWizard, DeletesOnYesOnly) {
    RunTool(L"create locked --password right");
    const Step wrong = Answer(IDOK, L"wrong");
    const Box question(MB_YESNO | MB_ICONEXCLAMATION, FormatStringId(IDS_DELETE_QUESTION, L"locked"));
    const Box cancelled = Told(L"locked", ERROR_CANCELLED), refused = Told(L"locked", kWrong);
    ShownBoxes::answers = {IDNO};
    EXPECT_TRUE(Run<CWizardDeleteContainer>({Type(L"locked"), finish}));
    EXPECT_EQ(shown, Boxes{question});
    EXPECT_TRUE(Exists(L"locked"));
    std::optional<NoSupport> missing;  // and with it the question's text
    EXPECT_FALSE(Run<CWizardDeleteContainer>({Type(L"locked"), [&](HWND) { missing.emplace(); }, finish}));
    missing.reset();
    EXPECT_EQ(shown, Boxes());
    EXPECT_TRUE(Exists(L"locked"));
    EXPECT_TRUE(Run<CWizardDeleteContainer>(
        {Type(L"locked"), finish, Answer(IDCANCEL), finish, wrong, wrong, wrong, finish, Answer(IDOK, L"right")}));
    EXPECT_EQ(shown, (Boxes{question, cancelled, question, refused, question}));
    EXPECT_FALSE(Exists(L"locked"));
}

TEST_F(ContainerWizard, ChangesThePasswordInTheProvidersDialog) {
    RunTool(L"create locked --password old --machine");
    int requests = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        static constexpr BYTE kRequest[16] = {4};
        if (call.name != "CryptSetProvParam" || call.a[1] != kParameterChangePassword) return call();
        EXPECT_EQ(std::memcmp(call.At<void*>(2), kRequest, sizeof kRequest), 0);
        return ++requests, call();
    });
    EXPECT_TRUE(Run<CWizardChangePassword>({computer, Type(L"locked"), finish, Answer(IDCANCEL), finish,
                                            Answer(IDOK, L"wrong", L"new"), finish, Answer(IDOK, L"old", L"new")}));
    const Box cancelled(MB_ICONERROR, ErrorMessageText(ERROR_CANCELLED)),
        wrong(MB_ICONERROR, ErrorMessageText(DWORD(kWrong)));
    EXPECT_EQ(shown, (Boxes{cancelled, wrong}));
    EXPECT_TRUE(Run<CWizardDeleteContainer>({computer, Type(L"locked"), finish, Answer(IDOK, L"new")}));
    EXPECT_EQ(requests, 3);
}

TEST_F(ContainerWizard, CopiesAfterAllThatMayGoWrong) {
    const std::wstring other = std::wstring(L" --machine --provider \"") + kProvider71 + L"\"",
                       foreign = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\Kelvane, another place";
    RunTool(L"carrier add TINY --room 300");
    RunTool(L"create fixed" + other);
    RunTool(L"create locked --exportable --password right" + other);
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, foreign.c_str(), L"Type", REG_DWORD, "\1\0\0", 4);
    std::set<DWORD> flags;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name == "CryptAcquireContextW") flags.insert(static_cast<DWORD>(call.a[4]));
        return call();
    });
    const wchar_t taken[] = L"\\\\.\\REGISTRY\\fixed", full[] = L"\\\\.\\TINY\\copy", copy[] = L"\\\\.\\REGISTRY\\copy";
    const Step right = Answer(IDOK, L"right"), wrong = Answer(IDOK, L"wrong"), cancel = Answer(IDCANCEL),
               select = [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 1); },
               ask = [](HWND) { RunTool(L"set NewPassword="); };
    const auto preset = [](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        EXPECT_EQ(Ui::Text(page, IDC_SELECT_PROVIDER), kProvider71);
        EXPECT_TRUE(IsDlgButtonChecked(page, IDC_SELECT_COMPUTER));
        EXPECT_EQ(Ui::Items(page, IDC_SELECT_PROVIDER).size(), 3u);
        EXPECT_FALSE(Ui::Visible(page, IDC_SELECT_BROWSE));
        EXPECT_FALSE(Ui::Visible(page, IDC_SELECT_BY_CERTIFICATE));
    };
    const Steps read = {computer, select,          Type(L"fixed"), next,   Type(L"nobody"),
                        next,     Type(L"locked"), next,           cancel, next,
                        wrong,    wrong,           wrong,          next,   right},
                written = {preset,     Type(taken), finish, Press(PSBTN_BACK), next,   right,
                           Type(full), finish,      ask,    Type(copy),        finish, cancel,
                           finish,     Answer(IDOK)};
    EXPECT_TRUE(Run<CWizardCopyContainer>(read + written));
    const Box unexportable = Told(L"fixed", NTE_BAD_KEY_STATE, IDS_COPY_NOT_EXPORTABLE),
              cancelled = Told(L"locked", HRESULT_FROM_WIN32(ERROR_CANCELLED), IDS_COPY_FAILED),
              refused = Told(L"locked", kWrong, IDS_COPY_FAILED),
              noRoom = Told(full, HRESULT_FROM_WIN32(ERROR_DISK_FULL), IDS_COPY_FAILED);
    EXPECT_EQ(shown, (Boxes{unexportable, Told(L"nobody", NTE_BAD_KEYSET), cancelled, refused, Told(taken, NTE_EXISTS),
                            noRoom, Told(copy, ERROR_CANCELLED)}));
    EXPECT_EQ(flags, (std::set<DWORD>{0x20, 0xF0000000, 0x40028}));
    for (const wchar_t* name : {full, copy, L"locked", L"fixed"}) {
        EXPECT_TRUE(Exists(name, 71, CRYPT_MACHINE_KEYSET)) << testing::PrintToString(name);
        RunTool(L"remove " + (name + other));
    }
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, foreign.c_str());
    RunTool(L"carrier remove TINY");
}

struct TorturedWizard : TorturedWizards<ContainerWizard> {
    TorturedWizard() {
        RunTool(L"remove tortured");  // of a run that was broken off
        RunTool(L"create tortured --exportable --keys xs --certs none");
        source = File(L"tortured");
    }
    ~TorturedWizard() override { RunTool(L"remove tortured"); }
    softcsp::Bytes File(const wchar_t* name) const {
        softcsp::Bytes bytes;  // none when there is no such container
        store.LoadBytes({carrier, name}, bytes);
        return bytes;
    }
    // What is wrong after a run of a wizard that has done its work if `done` says so.
    std::string Problem(const Fault& fault, const std::function<bool()>& done) const {
        std::erase_if(shown, [](const Box& box) { return (box.first & MB_YESNO) != 0; });
        const std::string_view function = fault.function;
        // A key or certificate that seems not to be there is left out of a copy.
        const bool optional = function == "CryptGetUserKey" || function == "CryptGetKeyParam";
        const bool needed = function.starts_with("Crypt") && function.find("Provider") == function.npos && !optional;
        const bool told = shown.size() == (finished ? 0 : 1) || (fault.memory && shown.empty());
        if (!told) return std::to_string(shown.size()) + " messages";
        if (finished) return needed ? "a failure reads as success" : done() ? "" : "not done";
        if (needed && !shown[0].second.ends_with(ErrorMessageText(fault.error))) return "another failure's code";
        return File(L"tortured") == source ? "" : "changed";
    }
    template <class Wizard>
    void SurviveAndRepeat(const char* name, const Steps& steps, const std::function<bool()>& done,
                          std::size_t distance = 1) {
        const auto restore = [&] {
            store.SaveBytes({carrier, L"tortured"}, source);
            store.Remove({carrier, L"imitated"});
        };
        const auto verdict = [&](const Fault& fault) -> std::string {
            std::string problem = Problem(fault, done);
            restore();
            if (!fault.onwards) return problem;
            run();
            if (!finished || !done()) problem += "can't be done any more";
            return restore(), problem;
        };
        Survive<Wizard>(name, steps, verdict, distance);
    }

    const softcsp::ContainerStore store{softcsp::Owner::User, 75};
    const softcsp::Carrier carrier{.name = softcsp::kRegistryCarrier};
    softcsp::Bytes source;
    const Step tortured = Type(L"tortured");
};

TEST_F(TorturedWizard, Deletes) {
    SurviveAndRepeat<CWizardDeleteContainer>("delete", {tortured, finish}, [&] { return File(L"tortured").empty(); });
}

TEST_F(TorturedWizard, ChangesThePassword) {
    const Step dialog = [](HWND window) {
        if (!Ui::Page(window)) PostMessageW(window, WM_COMMAND, IDOK, 0);  // no password, as before
    };
    const auto changed = [&] { return File(L"tortured") != source && Exists(L"tortured"); };
    SurviveAndRepeat<CWizardChangePassword>("change", {tortured, finish, dialog}, changed);
}

TEST_F(TorturedWizard, Copies) {
    const Step end = [&](HWND sheet) {
        if (Ui::Visible(Ui::Page(sheet), IDC_SELECT_BROWSE)) return;
        Type(L"imitated")(sheet), finish(sheet);
    };
    SurviveAndRepeat<CWizardCopyContainer>(
        "copy wizard", {tortured, next, end}, [&] { return Exists(L"imitated") && File(L"tortured") == source; },
        kTenth);
}

// Found through a certificate, then in the provider's dialog, then typed. What fails in the check is a row of its
// report.
TEST_F(TorturedWizard, Checks) {
    static const UniqueCertificate linked = SelfSigned();
    const auto choose = +[](const void*) { return CertDuplicateCertificateContext(linked.get()); };
    const LibraryFunction chooser("CryptUIDlgSelectCertificateW", choose);
    Texts names;
    const Step note = [&](HWND sheet) { names.push_back(Ui::Text(Ui::Page(sheet), IDC_SELECT_NAME)); };
    const auto pick = [](HWND window) {
        if (Ui::Page(window)) return;
        ListView_SetItemState(FindWindowExW(window, nullptr, WC_LISTVIEWW, nullptr), 0, LVIS_SELECTED, LVIS_SELECTED);
        for (const WPARAM end : {IDOK, IDCANCEL}) PostMessageW(window, WM_COMMAND, end, 0);  // none can be chosen
    };
    const auto go = [&](HWND sheet) {
        if (shown.empty()) next(sheet);
    };
    const auto end = [&](HWND sheet) {
        if (ListView_GetItemCount(GetDlgItem(Ui::Page(sheet), IDC_REPORT_ROWS)) > 0) finish(sheet);
    };
    const Steps steps = {
        Click(IDC_SELECT_BY_CERTIFICATE), note, Post(IDC_SELECT_BROWSE), pick, note, tortured, go, end};
    const auto verdict = [&](const Fault& fault) -> std::string {
        if (finished && fault.function == std::string_view("CryptAcquireContextW")) return "a failure reads as success";
        const bool told = shown.size() == (finished ? 0 : 1) || (fault.memory && shown.empty());
        if (!told) return std::to_string(shown.size()) + " messages";
        return File(L"tortured") == source ? "" : "changed";
    };
    Survive<CWizardCheckContainer>("check wizard", steps, verdict, kTenth);
    EXPECT_NE(names.at(names.size() - 2), L"");
    EXPECT_TRUE(names.back().starts_with(L"\\\\.\\REGISTRY\\"));
}

TEST_F(ContainerWizard, StartsFromTheServicePageAndFromOtherPrograms) {
    Texts captions;
    HWND panel = nullptr;
    const auto note = [&](HWND sheet) {
        captions.push_back(Ui::Text(sheet));
        EXPECT_TRUE(!panel || (GetWindow(sheet, GW_OWNER) == panel && !IsWindowEnabled(panel)));
        Ui::Press(sheet, PSBTN_CANCEL);
    };
    std::vector<Step> steps = {[&](HWND sheet) { panel = sheet; }};
    for (const UINT button : {IDC_SERVICE_CHECK, IDC_SERVICE_COPY, IDC_SERVICE_DELETE, IDC_SERVICE_CHANGE_PASSWORD}) {
        steps = std::move(steps) + Steps{Post(button), note};
    }
    steps.emplace_back([&](HWND sheet) { EXPECT_TRUE(sheet == panel && !Ui::ApplyEnabled(sheet)); });
    steps.emplace_back(Press(PSBTN_OK));
    std::optional<ModalScript> script(std::in_place, steps);
    PanelSession().Open("2");
    script.emplace(std::vector<Step>{note, note});
    panel = nullptr;
    for (auto* wizard : {&WizChangePassword, &WizDeleteContainer}) wizard(nullptr);
    const std::wstring change = L"Change password for private key container", remove = L"Delete private key container";
    EXPECT_EQ(captions,
              (Texts{L"Check private key container", L"Copy private key container", remove, change, change, remove}));
}

}  // namespace
