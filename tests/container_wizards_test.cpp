// The wizards that delete and copy containers and change their passwords, against the software provider.
#include <gtest/gtest.h>

#include <winscard.h>

#include <cstring>

#include "csp/ProviderParameters.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCopyContainer.h"
#include "wizards/WizardDeleteContainer.h"

namespace {

constexpr UINT kPassword = 1003, kNewPassword = 1004, kConfirmation = 1005;  // in the provider's dialogs
constexpr HRESULT kWrong = SCARD_W_WRONG_CHV;

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
    const wchar_t full[] = L"\\\\.\\TINY\\copy", copy[] = L"\\\\.\\REGISTRY\\copy";
    const Step preset = Shows(IDC_SELECT_PROVIDER, kProvider71);
    const Step ask = [](HWND) { RunTool(L"set NewPassword="); };
    const Steps source = {computer, SelectProvider(1), Type(L"fixed"), next, Type(L"locked")},
                read = {next, cancel, next, wrong, wrong, wrong, next, right, preset},
                again = {Type(L"fixed"), finish, back, next, right, Type(full), finish},
                written = {ask, Type(copy), finish, cancel, finish, Answer(IDOK)};
    EXPECT_TRUE(Run<CWizardCopyContainer>(source + read + again + written));
    const auto notCopied = [](UINT id, const wchar_t* name, HRESULT code) {
        return ToldError(MB_ICONEXCLAMATION, id, name, code);
    };
    EXPECT_EQ(shown, (Boxes{notCopied(IDS_COPY_NOT_EXPORTABLE, L"fixed", NTE_BAD_KEY_STATE),
                            notCopied(IDS_COPY_FAILED, L"locked", HRESULT_FROM_WIN32(ERROR_CANCELLED)),
                            notCopied(IDS_COPY_FAILED, L"locked", kWrong), NotOpened(L"fixed", NTE_EXISTS),
                            notCopied(IDS_COPY_FAILED, full, HRESULT_FROM_WIN32(ERROR_DISK_FULL)),
                            NotOpened(copy, ERROR_CANCELLED)}));
    for (const wchar_t* name : {full, copy}) {
        EXPECT_TRUE(Exists(name, 71, CRYPT_MACHINE_KEYSET)) << testing::PrintToString(name);
        RunTool(L"remove " + (name + place));
    }
    RunTool(L"carrier remove TINY");
}

class TorturedWizard : public TorturedWizards<ContainerWizard> {
  protected:
    softcsp::Bytes File(const wchar_t* name) const {
        softcsp::Bytes bytes;  // none when there is no such container
        store.LoadBytes({carrier, name}, bytes);
        return bytes;
    }
    // `done`: whether the wizard, if it was finished, has done its work.
    template <class Wizard>
    void SurviveAndRestore(const char* name, const Steps& steps, const std::function<bool()>& done) {
        Survive<Wizard>(name, steps, [&](const Fault& fault) -> std::string {
            const std::string problem = Problem(fault, done);
            store.SaveBytes({carrier, L"tortured"}, source);
            store.Remove({carrier, L"imitated"});
            return problem;
        });
    }
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

    const ToolContainer container{L"tortured", L"--exportable --keys xs --certs none"};
    const softcsp::ContainerStore store{softcsp::Owner::User, 75};
    const softcsp::Carrier carrier{.name = softcsp::kRegistryCarrier};
    const softcsp::Bytes source = File(L"tortured");
    const Step tortured = Type(L"tortured");
};

TEST_F(TorturedWizard, Deletes) {
    const UniqueCertificate linked = SelfSigned();
    const StandIn<const CERT_CONTEXT*(const void*)> chooser(
        "CryptUIDlgSelectCertificateW", [&](auto) { return CertDuplicateCertificateContext(linked.get()); });
    SurviveAndRestore<CWizardDeleteContainer>("delete", {Click(IDC_SELECT_BY_CERTIFICATE), tortured, finish},
                                              [&] { return File(L"tortured").empty(); });
}

TEST_F(TorturedWizard, Copies) {
    const Step end = [&](HWND sheet) {
        if (Ui::Visible(Ui::Page(sheet), IDC_SELECT_BROWSE)) return;
        Type(L"imitated")(sheet);
        finish(sheet);
    };
    const auto copied = [&] { return Exists(L"imitated") && File(L"tortured") == source; };
    SurviveAndRestore<CWizardCopyContainer>("copy wizard", {tortured, next, end}, copied);
}

}  // namespace
