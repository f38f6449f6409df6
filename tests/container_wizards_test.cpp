// The wizards that delete and copy containers and change their passwords, against the software provider.
#include <gtest/gtest.h>

#include <winscard.h>

#include <cstring>
#include <set>

#include "csp/ProviderParameters.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/Certificates.h"
#include "tests/support/Panel.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCheckContainer.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"

namespace {

constexpr UINT kPassword = 1003, kNewPassword = 1004, kConfirmation = 1005;  // in the provider's dialogs
constexpr HRESULT kWrong = SCARD_W_WRONG_CHV, kCancelled = HRESULT_FROM_WIN32(ERROR_CANCELLED);

Box NotOpened(const wchar_t* name, HRESULT code) {
    return ToldError(MB_ICONERROR, IDS_CONTAINER_ACCESS_FAILED, name, code);
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
    static Step Answer(int button, const wchar_t* password = L"", const wchar_t* newPassword = L"") {
        return [=](HWND dialog) {
            EXPECT_FALSE(Ui::Page(dialog)) << "no dialog of the provider";
            Ui::Type(dialog, kPassword, password);
            for (const UINT edit : {kNewPassword, kConfirmation}) Ui::Type(dialog, edit, newPassword);
            PostMessageW(dialog, WM_COMMAND, static_cast<WPARAM>(button), 0);
        };
    }
    const Step cancel = Answer(IDCANCEL), wrong = Answer(IDOK, L"wrong"), right = Answer(IDOK, L"right");
};

TEST_F(ContainerWizard, DeletesOnYesOnly) {
    const ToolContainer container(L"locked", L"--password right");
    const Box question = Told(MB_YESNO | MB_ICONEXCLAMATION, IDS_DELETE_QUESTION, L"locked");
    EXPECT_TRUE(Run<CWizardDeleteContainer>({Type(L"locked"), finish}, {IDNO}));
    EXPECT_EQ(shown, Boxes{question});
    EXPECT_TRUE(Exists(L"locked"));
    std::optional<NoSupport> missing;  // and with it the question's text
    EXPECT_FALSE(Run<CWizardDeleteContainer>({Type(L"locked"), [&](HWND) { missing.emplace(); }, finish}));
    missing.reset();
    EXPECT_EQ(shown, Boxes());
    EXPECT_TRUE(Exists(L"locked"));
    EXPECT_TRUE(
        Run<CWizardDeleteContainer>({Type(L"locked"), finish, cancel, finish, wrong, wrong, wrong, finish, right}));
    EXPECT_EQ(shown, (Boxes{question, NotOpened(L"locked", ERROR_CANCELLED), question, NotOpened(L"locked", kWrong),
                            question}));
    EXPECT_FALSE(Exists(L"locked"));
}

TEST_F(ContainerWizard, ChangesThePasswordInTheProvidersDialog) {
    const ToolContainer container(L"locked", L"--password old", L" --machine");
    int requests = 0;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        static constexpr BYTE kRequest[16] = {4};
        if (call.name != "CryptSetProvParam" || call.a[1] != kParameterChangePassword) return call();
        EXPECT_EQ(std::memcmp(call.At<void*>(2), kRequest, sizeof kRequest), 0);
        ++requests;
        return call();
    });
    EXPECT_TRUE(Run<CWizardChangePassword>({computer, Type(L"locked"), finish, cancel, finish,
                                            Answer(IDOK, L"wrong", L"new"), finish, Answer(IDOK, L"old", L"new")}));
    EXPECT_EQ(shown, (Boxes{ToldCode(ERROR_CANCELLED), ToldCode(kWrong)}));
    EXPECT_TRUE(Run<CWizardDeleteContainer>({computer, Type(L"locked"), finish, Answer(IDOK, L"new")}));
    EXPECT_EQ(requests, 3);
}

TEST_F(ContainerWizard, CopiesAfterAllThatMayGoWrong) {
    const std::wstring place = ComputersOf(kProvider71);
    RunTool(L"carrier add TINY --room 300");
    const ToolContainer fixed(L"fixed", L"", place), locked(L"locked", L"--exportable --password right", place);
    std::set<DWORD> flags;
    const CryptCalls calls([&](const CryptCalls::Call& call) {
        if (call.name == "CryptAcquireContextW") flags.insert(static_cast<DWORD>(call.a[4]));
        return call();
    });
    const wchar_t taken[] = L"\\\\.\\REGISTRY\\fixed", full[] = L"\\\\.\\TINY\\copy", copy[] = L"\\\\.\\REGISTRY\\copy";
    const Step preset = [](HWND sheet) {
        EXPECT_EQ(Ui::Text(Ui::Page(sheet), IDC_SELECT_PROVIDER), kProvider71);
        EXPECT_TRUE(IsDlgButtonChecked(Ui::Page(sheet), IDC_SELECT_COMPUTER));
    };
    const Step ask = [](HWND) { RunTool(L"set NewPassword="); };
    const Steps source = {computer, SelectProvider(1), Type(L"fixed"), next, Type(L"nobody"), next, Type(L"locked")},
                read = {next, cancel, next, wrong, wrong, wrong, next, right, preset},
                again = {Type(taken), finish, back, next, right},
                written = {Type(full), finish, ask, Type(copy), finish, cancel, finish, Answer(IDOK)};
    EXPECT_TRUE(Run<CWizardCopyContainer>(source + read + again + written));
    const auto notCopied = [](UINT id, const wchar_t* name, HRESULT code) {
        return ToldError(MB_ICONEXCLAMATION, id, name, code);
    };
    EXPECT_EQ(shown, (Boxes{notCopied(IDS_COPY_NOT_EXPORTABLE, L"fixed", NTE_BAD_KEY_STATE),
                            NotOpened(L"nobody", NTE_BAD_KEYSET), notCopied(IDS_COPY_FAILED, L"locked", kCancelled),
                            notCopied(IDS_COPY_FAILED, L"locked", kWrong), NotOpened(taken, NTE_EXISTS),
                            notCopied(IDS_COPY_FAILED, full, HRESULT_FROM_WIN32(ERROR_DISK_FULL)),
                            NotOpened(copy, ERROR_CANCELLED)}));
    const DWORD create = CRYPT_NEWKEYSET | CRYPT_MACHINE_KEYSET | 0x40000;
    EXPECT_EQ(flags, (std::set<DWORD>{CRYPT_MACHINE_KEYSET, CRYPT_VERIFYCONTEXT, create}));
    for (const wchar_t* name : {full, copy, L"locked", L"fixed"})
        EXPECT_TRUE(Exists(name, 71, CRYPT_MACHINE_KEYSET)) << testing::PrintToString(name);
    for (const wchar_t* name : {full, copy}) RunTool(L"remove " + (name + place));
    RunTool(L"carrier remove TINY");
}

class TorturedWizard : public TorturedWizards<ContainerWizard> {
  protected:
    softcsp::Bytes File(const wchar_t* name) const {
        softcsp::Bytes bytes;  // none when there is no such container
        store.LoadBytes({carrier, name}, bytes);
        return bytes;
    }
    // What is wrong after a run of a wizard that has done its work if `done` says so.
    std::string Problem(const Fault& fault, const std::function<bool()>& done) const {
        std::erase_if(shown, [](const Box& message) { return (message.first & MB_YESNO) != 0; });
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
            restore();
            return problem;
        };
        Survive<Wizard>(name, steps, verdict, distance);
    }

    const ToolContainer container{L"tortured", L"--exportable --keys xs --certs none"};
    const softcsp::ContainerStore store{softcsp::Owner::User, 75};
    const softcsp::Carrier carrier{.name = softcsp::kRegistryCarrier};
    const softcsp::Bytes source = File(L"tortured");
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
        Type(L"imitated")(sheet);
        finish(sheet);
    };
    const auto copied = [&] { return Exists(L"imitated") && File(L"tortured") == source; };
    SurviveAndRepeat<CWizardCopyContainer>("copy wizard", {tortured, next, end}, copied, kTenth);
}

// Found through a certificate, then in the provider's dialog, then typed. What fails in the check is a row of its
// report.
TEST_F(TorturedWizard, Checks) {
    const UniqueCertificate linked = SelfSigned();
    const StandIn<const CERT_CONTEXT*(const void*)> chooser(
        "CryptUIDlgSelectCertificateW", [&](auto) { return CertDuplicateCertificateContext(linked.get()); });
    Texts names;
    const Step note = [&](HWND sheet) { names.push_back(Ui::Text(Ui::Page(sheet), IDC_SELECT_NAME)); };
    const Step pick = [](HWND window) {
        if (Ui::Page(window)) return;
        ListView_SetItemState(FindWindowExW(window, nullptr, WC_LISTVIEWW, nullptr), 0, LVIS_SELECTED, LVIS_SELECTED);
        for (const WPARAM end : {IDOK, IDCANCEL}) PostMessageW(window, WM_COMMAND, end, 0);  // none can be chosen
    };
    const Step go = [&](HWND sheet) {
        if (shown.empty()) next(sheet);
    };
    const Step end = [&](HWND sheet) {
        if (!Rows(sheet, IDC_REPORT_ROWS).empty()) finish(sheet);
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
    EXPECT_TRUE(names.back().starts_with(L"\\\\.\\REGISTRY\\")) << testing::PrintToString(names.back());
}

TEST_F(ContainerWizard, BelongsToThePanelThatOpensIt) {
    HWND panel = nullptr;
    const Step note = [&](HWND wizard) {
        EXPECT_EQ(GetWindow(wizard, GW_OWNER), panel);
        EXPECT_FALSE(IsWindowEnabled(panel));
        Ui::Press(wizard, PSBTN_CANCEL);
    };
    Steps steps = {[&](HWND sheet) { panel = sheet; }};
    for (const UINT button : {IDC_SERVICE_CHECK, IDC_SERVICE_COPY, IDC_SERVICE_DELETE, IDC_SERVICE_CHANGE_PASSWORD})
        steps = steps + Steps{Post(button), note};
    const Step unchanged = [&](HWND sheet) {
        EXPECT_EQ(sheet, panel);
        EXPECT_FALSE(Ui::ApplyEnabled(sheet));
    };
    const ModalScript script(steps + Steps{unchanged, Press(PSBTN_OK)});
    PanelSession().Open("2");
    EXPECT_TRUE(script.Finished());
}

}  // namespace
