// vestractl in the test's own process: its documents, its arguments, its texts, and its commands when calls fail.
#include "applet/services/Strings.h"
#include "console/Json.h"
#include "console/Language.h"
#include "console/Program.h"
#include "tests/support/Certificates.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"
#include "tests/support/Report.h"
#include "tests/support/SystemCalls.h"

namespace {

TEST(Json, KeepsAnyText) {
    const struct {
        const char* name;
        std::wstring text, kept = text;
    } cases[] = {
        {"both languages, and a character of two units", L"Имя name \xD83D\xDD11"},
        {"quotes and backslashes", L"\"\\\\.\\A\""},
        {"control and direction characters", std::wstring(L"\0\x1\t\r\n\x7F\x202E%s%n", 11)},
        {"half a pair at the end", L"a\xD83D", L"a\xFFFD"},
        {"the other half first", L"\xDD11z", L"\xFFFDz"},
    };
    for (const auto& c : cases) {
        const ParsedJson parsed = ParseJson(JsonText(Value().Add(c.text, c.text)));
        ASSERT_TRUE(parsed.value) << c.name;
        const Value* found = parsed.value->Find(c.kept);
        ASSERT_TRUE(found) << c.name;
        EXPECT_EQ(*found, Value(c.kept)) << c.name;
    }
}

TEST(Json, RefusesWhatItCannotKeep) {
    const std::string deep(33, '['), deepEnd(33, ']');
    for (const std::string& text :
         {std::string(), std::string("{} {}"), std::string("1.5"), std::string("9223372036854775808"),
          std::string(R"({"a":1,"a":2})"), std::string("\"\xFF\""), deep + deepEnd})
        EXPECT_FALSE(ParseJson(text).value) << text;
    EXPECT_TRUE(ParseJson(deep.substr(1) + deepEnd.substr(1)).value);
    EXPECT_EQ(ParseJson("[1,?]").errorOffset, 4u);
}

// Where a run writes, in place of a console.
class Written {
  public:
    explicit Written(const std::wstring& path)
        : path_(path),
          file_(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr)) {}
    HANDLE Handle() const { return file_.get(); }
    void Clear() const {
        SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN);
        SetEndOfFile(file_.get());
    }
    std::string Text() const { return Read(path_); }

  private:
    std::wstring path_;
    UniqueFile file_;
};

constexpr wchar_t kName[] = L"vt console", kCopyName[] = L"vt console copy";

bool OpensAndPasses(const wchar_t* name) {
    RecordedReport report;
    CCryptProvContext context;
    return context.Acquire(CRYPT_SILENT, name, kProvider75, 75) && CheckContainer(context.Get(), KeySet::User, report);
}

// False when there was none.
bool Remove(const wchar_t* name) {
    return static_cast<bool>(CCryptProvContext().Acquire(CRYPT_SILENT | CRYPT_DELETEKEYSET, name, kProvider75, 75));
}

// Runs commands while calls fail, one after the other. Whatever fails, standard output is a document with the exit
// code, and what isn't done is reported.
struct TorturedCommands : testing::Test {
    TorturedCommands() {
        Remove(kCopyName);
        RunTool(L"remove \"vt console\"");
        EXPECT_EQ(RunTool(L"create \"vt console\" --keys xs --chain 2 --exportable --subject CN=VestraTest"), 0u);
    }
    ~TorturedCommands() override {
        Remove(kCopyName);
        Remove(kName);
    }

    // `verdict` looks at what a run left, and prepares the next one.
    using Verdict = std::function<std::string(const Fault& fault, ExitCode code)>;
    void Survive(const char* name, std::vector<std::wstring> arguments, const Verdict& verdict,
                 std::size_t distance = 1, const std::set<std::string_view>& again = {},
                 ExitCode withoutFault = ExitCode::Done) {
        arguments.insert(arguments.end(), {L"--json", L"--silent", L"--lang", L"en"});
        ExitCode code = ExitCode::Done;
        const auto run = [&] {
            out.Clear();
            err.Clear();
            Output output(out.Handle(), err.Handle());
            code = RunConsole(arguments, output);
        };
        const auto inspect = [&](const Fault& fault) -> std::string {
            std::string left = verdict ? verdict(fault, code) : "";
            const ParsedJson document = ParseJson(out.Text());
            if (!document.value) return "no valid document: " + out.Text();
            const Value* written = document.value->Find(L"exitCode");
            if (!written || *written != Value(static_cast<int>(code))) return "another exit code: " + out.Text();
            if (fault.point == Fault::kNone && code != withoutFault) return "fails without a fault";
            // Without conversions there is no UTF-8, in which messages are written.
            const bool converts = std::string_view(fault.function).find("Wide") == std::string_view::npos;
            if (code == ExitCode::Failed && err.Text().empty() && converts && !fault.onwards) return "no message";
            return left;
        };
        FaultInjection().Survive(name, run, inspect, distance, again);
    }

    const LoadedProvider held;
    const TemporaryDirectory directory;
    const Written out{directory.Path() + L"out"}, err{directory.Path() + L"err"};
};

TEST_F(TorturedCommands, ListSurvives) {
    CountCertificates(SystemStore(L"root").get());  // Wine fills this store at its first use
    // Wine lists the computer's root store twice, so its certificates are read twice.
    Survive("list", {L"list", L"--provider", kProvider75}, {}, 3 * kTenth,
            {"CertOpenStore", "CertEnumCertificatesInStore", "CertGetCertificateContextProperty"});
}

TEST_F(TorturedCommands, CheckSurvives) {
    Survive("check", {L"check", kName}, {}, 3 * kTenth);  // the check itself has a loop of its own
}

TEST_F(TorturedCommands, CopySurvives) {
    const auto verdict = [](const Fault& fault, ExitCode code) -> std::string {
        const bool whole = OpensAndPasses(kCopyName), there = Remove(kCopyName);
        if (!OpensAndPasses(kName)) return "the source is damaged";
        if (code == ExitCode::Done) return whole ? "" : "not all is copied";
        // When all following calls fail, too, the rest can't be removed.
        return there && !whole && !fault.onwards ? "an incomplete copy is left" : "";
    };
    Survive("copy", {L"copy", kName, kCopyName}, verdict, kTenth);  // as the check
}

TEST_F(TorturedCommands, DeleteSurvives) {
    RunTool(L"create \"vt console copy\"");
    Survive("delete", {L"delete", kCopyName, L"--yes"}, [](const Fault&, ExitCode code) {
        const bool there = !!CCryptProvContext().Acquire(CRYPT_SILENT, kCopyName, kProvider75, 75);
        if (!there) RunTool(L"create \"vt console copy\"");
        return code == ExitCode::Done && there ? "a failure reads as success" : "";
    });
}

std::string LookForCertificate(const Fault&, ExitCode code) {
    const bool there = !!FindTestCertificate(SystemStore(L"My").get());
    RemoveTestCertificates();
    return code == ExitCode::Done && !there ? "a failure reads as success" : "";
}

TEST_F(TorturedCommands, InstallSurvives) {
    const KeptStores stores;
    const std::wstring file = directory.Path() + L"issued.cer";
    ASSERT_EQ(RunTool(L"certificate \"vt console\" --key x --subject CN=VestraTest --out \"" + file + L"\""), 0u);
    Survive("install", {L"install", file, L"--container", kName, L"--into-container", L"--replace"},
            &LookForCertificate);
}

TEST_F(TorturedCommands, CertificatesSurvive) {
    const KeptStores stores;
    Survive("certificates", {L"certificates", kName, L"--install", L"--replace"}, &LookForCertificate, kTenth);
}

TEST_F(TorturedCommands, ExpiringSurvives) {
    Survive(
        "expiring", {L"expiring", L"--within", L"3650"},
        [](const Fault&, ExitCode code) { return code == ExitCode::Done ? "an end is overlooked" : ""; }, kTenth,
        {"CertOpenStore", "CertEnumCertificatesInStore"}, ExitCode::Found);
}

TEST_F(TorturedCommands, ReconcileSurvives) {
    const KeptStores stores;
    // The containers are listed, and opened again to be repaired.
    Survive("reconcile", {L"reconcile", L"--repair", L"--yes"}, &LookForCertificate, 3 * kTenth,
            {"CryptEnumProvidersW", "CryptGetDefaultProviderW", "CryptAcquireContextW", "CryptGetProvParam",
             "CryptGetUserKey"});
}

TEST_F(TorturedCommands, DoctorSurvives) {
    Output output(out.Handle(), err.Handle());
    const std::vector<std::wstring> arguments = {L"doctor"};
    RunConsole(arguments, output);  // the libraries that it looks at stay loaded
    Survive("doctor", {L"doctor"}, {}, kTenth, {"RegOpenKeyExW"}, ExitCode::Found);
}

// Another program removes a container after its name was listed.
TEST_F(TorturedCommands, ListGoesOnWithoutAContainerThatVanishes) {
    RunTool(L"create \"vt console copy\"");
    bool vanished = false;
    const SystemCalls calls([&](const SystemCalls::Call& call) {
        const bool opens =
            call.name == "CryptAcquireContextW" && call.a[1] && kCopyName == std::wstring(call.At<const wchar_t*>(1));
        if (opens && !std::exchange(vanished, true)) Remove(kCopyName);
        return call();
    });
    Output output(out.Handle(), err.Handle());
    const std::vector<std::wstring> arguments = {L"list", L"--json", L"--silent", L"--provider", kProvider75};
    EXPECT_EQ(RunConsole(arguments, output), ExitCode::Found);
    EXPECT_TRUE(vanished);
    EXPECT_TRUE(ParseJson(out.Text()).value) << out.Text();
    EXPECT_NE(out.Text().find("\"vt console\""), std::string::npos) << out.Text();
    EXPECT_NE(err.Text().find("0x80090016"), std::string::npos) << err.Text();
}

}  // namespace
