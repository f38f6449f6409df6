// The wizards that delete and copy containers and change their passwords, against the software provider.
#include <gtest/gtest.h>

#include <winscard.h>

#include <cstring>
#include <optional>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/ProviderParameters.h"
#include "tests/support/CryptCalls.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Panel.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"

namespace {

constexpr UINT kPassword = 1003, kNewPassword = 1004, kConfirmation = 1005;  // in the provider's dialogs
constexpr auto kWrong = static_cast<DWORD>(SCARD_W_WRONG_CHV);
using Step = ModalScript::Step;
using Box = std::pair<UINT, std::wstring>;  // a message's type and text

Box Told(UINT icon, UINT id, const wchar_t* name, DWORD code) {
    return {icon, FormatStringId(id, name, ErrorMessageText(code))};
}

bool Exists(const wchar_t* name, DWORD type = 75, DWORD flags = 0) {
    CCryptProvContext context;
    return context.Acquire(CRYPT_SILENT | flags, name, nullptr, type);
}

class ContainerWizard : public WizardTest {
  protected:
    ContainerWizard() { RunTool(L"set NewPassword=0"); }
    ~ContainerWizard() override { RunTool(L"set NewPassword="); }

    // Fills the provider's dialog in and ends it.
    static Step Answer(int button, const wchar_t* password = L"", const wchar_t* next = L"") {
        return [=](HWND dialog) {
            EXPECT_TRUE(GetDlgItem(dialog, kPassword)) << "no dialog of the provider";
            Ui::Type(dialog, kPassword, password);
            for (const UINT edit : {kNewPassword, kConfirmation}) Ui::Type(dialog, edit, next);
            PostMessageW(dialog, WM_COMMAND, static_cast<WPARAM>(button), 0);
        };
    }
    // Whether the wizard finishes.
    template <class Wizard>
    static bool Run(const std::vector<Step>& steps) {
        shown.clear();
        ModalScript script(steps);
        return Wizard(nullptr).DoModal() == ID_WIZFINISH;
    }
    static int WINAPI Show(const MSGBOXPARAMSW* box) {
        shown.emplace_back(box->dwStyle, box->lpszText);
        return answer;
    }
    const Step finish = Press(PSBTN_FINISH), next = Press(PSBTN_NEXT);
    static inline std::vector<Box> shown;  // by the last run
    static inline int answer;              // to all of them
    ImportPatch box{(answer = IDYES, nullptr), "MessageBoxIndirectW", &Show};
};

TEST_F(ContainerWizard, DeletesOnYesOnly) {
    RunTool(L"create locked --password right");
    const Step wrong = Answer(IDOK, L"wrong");
    const Box question(MB_YESNO | MB_ICONEXCLAMATION, FormatStringId(IDS_DELETE_QUESTION, L"locked"));
    const auto refused = [](DWORD code) { return Told(MB_ICONERROR, IDS_CONTAINER_ACCESS_FAILED, L"locked", code); };
    answer = IDNO;
    EXPECT_TRUE(Run<CWizardDeleteContainer>({Type(L"locked"), finish}));
    EXPECT_TRUE(shown == std::vector{question} && Exists(L"locked"));
    answer = IDYES;
    EXPECT_TRUE(Run<CWizardDeleteContainer>(
        {Type(L"locked"), finish, Answer(IDCANCEL), finish, wrong, wrong, wrong, finish, Answer(IDOK, L"right")}));
    EXPECT_EQ(shown, (std::vector{question, refused(ERROR_CANCELLED), question, refused(kWrong), question}));
    EXPECT_FALSE(Exists(L"locked"));
}

TEST_F(ContainerWizard, ChangesThePasswordInTheProvidersDialog) {
    RunTool(L"create locked --password old");
    std::vector<std::string> log;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        static constexpr BYTE kRequest[16] = {4};
        if (call.name == "CryptAcquireContextW" || call.name == "CryptReleaseContext") log.emplace_back(call.name);
        if (call.name != "CryptSetProvParam" || call.a[1] != kParameterChangePassword) return call();
        EXPECT_EQ(std::memcmp(call.At<void*>(2), kRequest, sizeof kRequest), 0);
        log.emplace_back("change");
        return call();
    });
    EXPECT_TRUE(Run<CWizardChangePassword>({Type(L"locked"), finish, Answer(IDCANCEL), finish,
                                            Answer(IDOK, L"wrong", L"new"), finish, Answer(IDOK, L"old", L"new")}));
    const std::vector<std::string> once = {"CryptAcquireContextW", "change", "CryptReleaseContext"};
    for (size_t i = 0; i < 9; ++i) EXPECT_EQ(log.at(i), once[i % 3]) << i;
    const Box cancelled(MB_ICONERROR, ErrorMessageText(ERROR_CANCELLED)), wrong(MB_ICONERROR, ErrorMessageText(kWrong));
    EXPECT_EQ(shown, (std::vector{cancelled, wrong}));
    Run<CWizardDeleteContainer>({Type(L"locked"), finish, Answer(IDOK, L"new")});
    EXPECT_FALSE(Exists(L"locked"));
}

TEST_F(ContainerWizard, CopiesAfterAllThatMayGoWrong) {
    const std::wstring other = std::wstring(L" --provider \"") + kProvider71 + L"\"";
    RunTool(L"carrier add TINY --room 300");
    RunTool(L"create fixed" + other);
    RunTool(L"create locked --exportable --password right" + other);
    const wchar_t taken[] = L"\\\\.\\REGISTRY\\fixed", full[] = L"\\\\.\\TINY\\copy", copy[] = L"\\\\.\\REGISTRY\\copy";
    const Step right = Answer(IDOK, L"right");
    const auto select = [](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, 1); };
    const auto preselected = [](HWND sheet) { EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SELECT_PROVIDER), kProvider71); };
    EXPECT_TRUE(Run<CWizardCopyContainer>(
        {select,     Type(L"fixed"), next,        Type(L"nobody"), next,   Type(L"locked"),   next, Answer(IDCANCEL),
         next,       right,          preselected, Type(taken),     finish, Press(PSBTN_BACK), next, right,
         Type(full), finish,         Type(copy),  finish}));
    const auto warned = [](UINT id, const wchar_t* name, DWORD code) {
        return Told(MB_ICONEXCLAMATION, id, name, code);
    };
    const auto refused = [](const wchar_t* name, HRESULT code) {
        return Told(MB_ICONERROR, IDS_CONTAINER_ACCESS_FAILED, name, static_cast<DWORD>(code));
    };
    EXPECT_EQ(shown, (std::vector{warned(IDS_COPY_NOT_EXPORTABLE, L"fixed", 0x8009000B),
                                  refused(L"nobody", NTE_BAD_KEYSET), warned(IDS_COPY_FAILED, L"locked", 0x800704C7),
                                  refused(taken, NTE_EXISTS), warned(IDS_COPY_FAILED, full, 0x80070070)}));
    for (const wchar_t* name : {full, copy, L"locked", L"fixed"}) {
        EXPECT_TRUE(Exists(name, 71)) << testing::PrintToString(name);
        RunTool(L"remove " + (name + other));
    }
    RunTool(L"carrier remove TINY");
}

// Beneath the fixture's own patches, so that these see each call.
struct TorturedWizard : ContainerWizard {
    static void SetUpTestSuite() { injection.emplace(); }
    static void TearDownTestSuite() { injection.reset(); }
    static inline std::optional<FaultInjection> injection;
};

TEST_F(TorturedWizard, SurvivesEveryFailingCall) {
    bool finished = false, changed = false;
    RunTool(L"create tortured");
    const auto dialog = [&](HWND window) {
        changed = GetDlgItem(window, kNewPassword) != nullptr;
        if (changed) PostMessageW(window, WM_COMMAND, IDOK, 0);  // no password, as before
    };
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::wstring last = shown.empty() ? L"" : shown.back().second;
        if (!finished && shown.empty()) return "a failure that nobody is told";
        if (fault.function == std::string_view("CryptAcquireContextW") &&
            !last.ends_with(ErrorMessageText(fault.error)))
            return "another failure's code";
        if (finished != (changed || !Exists(L"tortured"))) return "neither done nor refused";
        return Exists(L"tortured") || Exists(L"tortured", 75, CRYPT_NEWKEYSET) ? "" : "lost";
    };
    const auto remove = [&] { finished = Run<CWizardDeleteContainer>({Type(L"tortured"), finish}); };
    const auto change = [&] {
        changed = false;
        finished = Run<CWizardChangePassword>({Type(L"tortured"), finish, dialog});
    };
    for (const auto& figure : {injection->Run("delete", remove, inspect), injection->Run("change", change, inspect)})
        EXPECT_TRUE(figure.AllSurvived()) << testing::PrintToString(figure.problems);
    RunTool(L"remove tortured");
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
    for (const int button : {IDC_SERVICE_COPY, IDC_SERVICE_DELETE, IDC_SERVICE_CHANGE_PASSWORD}) {
        steps.emplace_back([=](HWND sheet) { PostMessageW(GetDlgItem(Ui::Page(sheet), button), BM_CLICK, 0, 0); });
        steps.emplace_back(note);
    }
    steps.emplace_back(Press(PSBTN_OK));
    std::optional<ModalScript> script(std::in_place, steps);
    PanelSession().Open("2");
    script.emplace(std::vector<Step>{note, note});
    panel = nullptr;
    for (auto* wizard : {&WizChangePassword, &WizDeleteContainer}) wizard(nullptr);
    const std::wstring change = L"Change password for private key container", remove = L"Delete private key container";
    EXPECT_EQ(captions, (Texts{L"Copy private key container", remove, change, change, remove}));
}

}  // namespace
