// The wizards that check, copy and delete containers and change their passwords, against the software provider.

#include <winscard.h>

#include <new>

#include "csp/CertificateStores.h"
#include "csp/ProviderParameters.h"
#include "softcsp/container/ContainerStore.h"
#include "tests/support/Certificates.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/Wizards.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardCheckContainer.h"
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
    const SystemCalls calls([&](const SystemCalls::Call& call) {
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
    const wchar_t taken[] = L"\\\\.\\REGISTRY\\fixed", full[] = L"\\\\.\\TINY\\copy", copy[] = L"\\\\.\\REGISTRY\\copy";
    const Step preset = Shows(IDC_SELECT_PROVIDER, kProvider71);
    const Step ask = [](HWND) { RunTool(L"set NewPassword="); };
    const Steps source = {computer, SelectProvider(1), Type(L"fixed"), next, Type(L"locked")},
                read = {next, cancel, next, wrong, wrong, wrong, next, right, preset},
                again = {Type(taken), finish, back, next, right, Type(full), finish},
                written = {ask, Type(copy), finish, cancel, finish, Answer(IDOK)};
    EXPECT_TRUE(Run<CWizardCopyContainer>(source + read + again + written));
    const auto notCopied = [](UINT id, const wchar_t* name, HRESULT code) {
        return ToldError(MB_ICONEXCLAMATION, id, name, code);
    };
    EXPECT_EQ(shown, (Boxes{notCopied(IDS_COPY_NOT_EXPORTABLE, L"fixed", NTE_BAD_KEY_STATE),
                            notCopied(IDS_COPY_FAILED, L"locked", HRESULT_FROM_WIN32(ERROR_CANCELLED)),
                            notCopied(IDS_COPY_FAILED, L"locked", kWrong), NotOpened(taken, NTE_EXISTS),
                            notCopied(IDS_COPY_FAILED, full, HRESULT_FROM_WIN32(ERROR_DISK_FULL)),
                            NotOpened(copy, ERROR_CANCELLED)}));
    for (const wchar_t* name : {full, copy}) {
        EXPECT_TRUE(Exists(name, 71, CRYPT_MACHINE_KEYSET)) << testing::PrintToString(name);
        RunTool(L"remove " + (name + place));
    }
    RunTool(L"carrier remove TINY");
}

constexpr wchar_t kSucceeded[] = L"Check container succeed|no errors were detected";

class CheckWizard : public WizardTest {
  protected:
    // Called in the middle of the check, when the length of a signature is asked for, and before its last call.
    std::function<void(HWND sheet)> during, atTheEnd;
    DWORD error = ERROR_SUCCESS;  // else signing fails with it
    int signatures = 0;
    const SystemCalls calls{[this](const SystemCalls::Call& call) {
        if (call.name == "CryptGetProvParam" && call.a[1] == kParameterExtensions && atTheEnd) atTheEnd(Ui::Current());
        if (call.name != "CryptSignHashW" || call.a[4]) return call();
        ++signatures;
        if (during) during(Ui::Current());
        return error ? SystemCalls::Fail(error) : call();
    }};
};

TEST_F(CheckWizard, ShowsAndCopiesTheRowsAsTheyCome) {
    const ToolContainer container(L"Имя %1", L"--keys xs --certs x --subject \"CN=VestraTest\x202E\"");
    const TemporaryDirectory directory;
    const KeptStores kept;
    const std::wstring path = directory.Path() + L"x.cer";
    container.WriteCertificate(path, L"x", L"--subject \"CN=VestraTest\x202E\"");
    EXPECT_TRUE(CertAddCertificateContextToStore(SystemStore(L"My").get(), OpenCertificateFile(path)->only.get(),
                                                 CERT_STORE_ADD_ALWAYS, nullptr));
    error = ERROR_ACCESS_DENIED;
    during = [](HWND sheet) {  // nothing is completed yet, and only Cancel does something
        const HWND page = Ui::Page(sheet), list = GetDlgItem(page, IDC_REPORT_ROWS);
        EXPECT_GT(ListView_GetItemCount(list), 4);
        EXPECT_FALSE(GetUpdateRect(list, nullptr, FALSE)) << "not painted yet";
        EXPECT_FALSE(Ui::Visible(page, IDC_REPORT_TITLE));
        EXPECT_FALSE(Ui::Enabled(page, IDC_REPORT_COPY));
        for (const UINT button : {kBack, kNext, kFinish}) EXPECT_FALSE(Ui::Enabled(sheet, button)) << button;
    };
    const Step look = [&](HWND sheet) {
        const HWND page = Ui::Page(sheet);
        const Texts rows = Rows(sheet, IDC_REPORT_ROWS);
        const std::pair<std::wstring, CheckMark> expected[] = {
            {L"Check container failed|", CheckMark::Failed},
            {L"  signing|" + ErrorMessageText(error), CheckMark::Failed},
            {L"  certificate in container|not available", CheckMark::Note},
            {L"  certificate name|VestraTest‹U+202E›", CheckMark::None},
            {L"  |  VestraTest‹U+202E›", CheckMark::None}};
        for (const auto& [row, mark] : expected) {
            const auto found = std::ranges::find(rows, row);
            EXPECT_NE(found, rows.end()) << testing::PrintToString(row) << " in " << testing::PrintToString(rows);
            const UINT state = ListView_GetItemState(GetDlgItem(page, IDC_REPORT_ROWS),
                                                     static_cast<int>(found - rows.begin()), LVIS_STATEIMAGEMASK);
            EXPECT_EQ(state >> 12, static_cast<UINT>(mark)) << testing::PrintToString(row);
        }
        EXPECT_TRUE(Ui::Visible(page, IDC_REPORT_TITLE));
        for (const UINT button : {kBack, kFinish}) EXPECT_TRUE(Ui::Enabled(sheet, button)) << button;
        Ui::Click(page, IDC_REPORT_COPY);
        EXPECT_NE(Ui::ClipboardText().find(L"  name                         \tИмя %1\r\n"), std::wstring::npos);
    };
    EXPECT_TRUE(Run<CWizardCheckContainer>({Type(L"Имя %1"), next, look, finish}));
}

// The rows of the wizard's list, "LABEL|VALUE", as vestractl prints them.
std::string Printed(const Texts& rows) {
    constexpr std::size_t kLabelWidth = 32;
    ReportTexts lines;
    for (const std::wstring& row : rows) {
        std::wstring line = L"  " + row + L"\r";
        const std::size_t end = line.find(L'|');
        line.replace(end, 1, row.ends_with(L'|') ? 0 : kLabelWidth - std::min(kLabelWidth - 1, end), L' ');
        lines.push_back(line);
    }
    return Lines(lines);
}

TEST_F(CheckWizard, ShowsTheRowsThatVestractlPrints) {
    const struct {
        const wchar_t *name, *options;
        const wchar_t* change = L"damage=0";  // what the tool sets
    } cases[] = {
        {L"Row chain", L"--keys xs --chain 2 --exportable"},
        {L"Row ended", L"--not-before 2020-01-01 --usage 2020-01-01 2021-01-01"},
        {L"Row other", L"", L"certificate-x=other"},
        {L"Row extension", L"", L"extension=1.2.3:1:0500"},
    };
    for (const auto& c : cases) {
        const ToolContainer container(c.name, c.options);
        container.Set(c.change);
        std::string wizard;
        const Step look = [&](HWND sheet) { wizard = Printed(Rows(sheet, IDC_REPORT_ROWS)); };
        EXPECT_TRUE(Run<CWizardCheckContainer>({Type(c.name), next, look, finish}));
        std::string printed;
        RunProgram(L"vestractl.exe", L"check --silent --lang en \"" + std::wstring(c.name) + L'"', &printed);
        EXPECT_EQ(printed.substr(printed.find('\n') + 1, wizard.size()), wizard) << testing::PrintToString(c.name);
    }
}

// The user presses a button during the check, or memory runs out.
TEST_F(CheckWizard, EndsWithOneWholeReportOrNone) {
    const auto post = [](UINT button) {
        return [=](HWND sheet) { PostMessageW(GetDlgItem(sheet, static_cast<int>(button)), BM_CLICK, 0, 0); };
    };
    const struct {
        const char* name;
        std::function<void(HWND)> during;
        size_t rows = 18;  // of the report; 0: the wizard is closed
        std::wstring verdict = kSucceeded;
        std::function<void(HWND)> atTheEnd = nullptr;
    } cases[] = {
        {"Finish", post(kFinish)},
        {"Finish at the last moment", nullptr, 18, kSucceeded, post(kFinish)},
        {"no memory", [](HWND) { throw std::bad_alloc(); }, 10, L"Check container failed|"},
        {"Cancel", post(IDCANCEL), 0},
        {"Esc", [](HWND) { PostMessageW(GetFocus(), WM_KEYDOWN, VK_ESCAPE, 0); }, 0},
    };
    const ToolContainer container(L"Once", L"--keys s --certs none");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        during = c.during;
        atTheEnd = c.atTheEnd;
        signatures = 0;
        bool closed = true;
        const Step on = [&](HWND sheet) {  // the page appears twice without a pause
            for (const int button : {PSBTN_NEXT, PSBTN_BACK, PSBTN_NEXT}) Ui::Press(sheet, button);
        };
        ModalScript script({Type(L"Once"), on, [&](HWND sheet) {
                                closed = false;
                                const Texts rows = Rows(sheet, IDC_REPORT_ROWS);
                                EXPECT_EQ(rows.size(), c.rows);
                                EXPECT_EQ(rows.empty() ? L"" : rows.front(), c.verdict);
                                EXPECT_TRUE(Ui::Visible(Ui::Page(sheet), IDC_REPORT_TITLE));
                            }});
        EXPECT_EQ(CWizardCheckContainer(nullptr).DoModal(), IDCANCEL);
        EXPECT_EQ(closed, c.rows == 0);
        EXPECT_EQ(signatures, 1);
    }
}

// Only what is wrong with the container is marked as failed.
TEST(CheckMarks, TellErrorsFromNotes) {
    EXPECT_EQ(MarkOf(IDS_CHECK_USAGE_PERIOD, IDS_CHECK_EXPIRED), CheckMark::Failed);
    EXPECT_EQ(MarkOf(IDS_CHECK_CERTIFICATE_IN_STORE, 0, true), CheckMark::Note) << "stores that can't be listed";
}

class TorturedContainerWizard : public TorturedWizard<ContainerWizard> {
  protected:
    softcsp::Bytes File(const wchar_t* name) const {
        softcsp::Bytes bytes;  // none when there is no such container
        store.LoadBytes({carrier, name}, bytes);
        return bytes;
    }
    // `done`: whether the wizard, if it was finished, has done its work.
    template <class Wizard>
    void SurviveAndDo(const char* name, const Steps& steps, const std::function<bool()>& done) {
        Survive<Wizard>(name, steps, [&] {
            const bool whole = finished ? done() : File(L"tortured") == source;
            store.SaveBytes({carrier, L"tortured"}, source);
            store.Remove({carrier, L"imitated"});
            return whole ? "" : finished ? "not done" : "changed";
        });
    }

    const ToolContainer container{L"tortured", L"--exportable --keys xs --certs none"};
    const softcsp::ContainerStore store{softcsp::Owner::User, 75};
    const softcsp::Carrier carrier{.name = softcsp::kRegistryCarrier};
    const softcsp::Bytes source = File(L"tortured");
    const Step tortured = Type(L"tortured");
};

TEST_F(TorturedContainerWizard, Deletes) {
    const UniqueCertificate linked = SelfSigned();
    const LibraryFunction chooser("CryptUIDlgSelectCertificateW",
                                  [&](const void*) { return CertDuplicateCertificateContext(linked.get()); });
    SurviveAndDo<CWizardDeleteContainer>("delete", {Click(IDC_SELECT_BY_CERTIFICATE), Leave(tortured, PSBTN_FINISH)},
                                         [&] { return File(L"tortured").empty(); });
}

TEST_F(TorturedContainerWizard, Copies) {
    SurviveAndDo<CWizardCopyContainer>("copy wizard", {Leave(tortured), Leave(Type(L"imitated"), PSBTN_FINISH)},
                                       [&] { return Exists(L"imitated") && File(L"tortured") == source; });
}

// What fails in the check is a row of its report.
TEST_F(TorturedContainerWizard, Checks) {
    SurviveAndDo<CWizardCheckContainer>("check wizard", {Leave(tortured), Leave(none, PSBTN_FINISH)},
                                        [&] { return File(L"tortured") == source; });
}

TEST_F(TorturedContainerWizard, ChangesThePassword) {
    const Step answer = [](HWND window) {
        if (!Ui::Page(window)) Answer(IDOK)(window);
    };
    SurviveAndDo<CWizardChangePassword>("password", {Leave(tortured, PSBTN_FINISH), answer},
                                        [&] { return File(L"tortured") != source; });
}

}  // namespace
