// vestractl in the test's own process: its documents, its arguments, its texts, and its commands when calls fail.
#include <windows.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "applet/services/Language.h"
#include "applet/services/Strings.h"
#include "console/Files.h"
#include "console/Json.h"
#include "console/Language.h"
#include "console/Program.h"
#include "csp/ContainerCheck.h"
#include "framework/Module.h"
#include "resources/console.h"
#include "tests/support/Certificates.h"
#include "tests/support/Directory.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/Provider.h"

namespace {

TEST(Json, KeepsAnyText) {
    const struct {
        const char* name;
        std::wstring text, kept;
    } cases[] = {
        {"letters of both languages", L"Имя name", L"Имя name"},
        {"a character of two units", L"\xD83D\xDD11", L"\xD83D\xDD11"},
        {"quotes and backslashes", L"\"\\\\.\\A\"", L"\"\\\\.\\A\""},
        {"control characters", std::wstring(L"\0\x1\t\r\n\x7F", 6), std::wstring(L"\0\x1\t\r\n\x7F", 6)},
        {"direction characters", L"\x202E%s%n", L"\x202E%s%n"},
        {"half a pair at the end", L"a\xD83D", L"a\xFFFD"},
        {"the other half first", L"\xDD11z", L"\xFFFDz"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ParsedJson parsed = ParseJson(JsonText(Value().Add(c.text, c.text)));
        ASSERT_TRUE(parsed.value);
        const Value* found = parsed.value->Find(c.kept);
        ASSERT_TRUE(found);
        EXPECT_EQ(*found, Value(c.kept));
    }
}

TEST(Json, RefusesWhatItCannotKeep) {
    const std::string deep(33, '['), deepEnd(33, ']');
    for (const std::string& text :
         {std::string(), std::string("{"), std::string("{} {}"), std::string("nul"), std::string("1.5"),
          std::string("9223372036854775808"), std::string(R"({"a":1,"a":2})"), std::string("\"\xFF\""), deep + deepEnd})
        EXPECT_FALSE(ParseJson(text).value) << text;
    EXPECT_TRUE(ParseJson(deep.substr(1) + deepEnd.substr(1)).value);
    EXPECT_EQ(ParseJson("[1,?]").errorOffset, 4u);
}

// The strings of vestractl in a language, with their inserts.
TEST(ConsoleStrings, AreTheSameInBothLanguages) {
    const auto inserts = [](const std::wstring& text) {
        std::multiset<wchar_t> found;
        for (std::size_t at = text.find(L'%'); at != std::wstring::npos; at = text.find(L'%', at + 1))
            found.insert(text[at + 1]);
        return found;
    };
    int count = 0;
    for (UINT id = 4000; id < 5000; ++id) {
        SetLanguage(kEnglish);
        const std::wstring english = LoadStringLang(id);
        SetLanguage(kRussian);
        const std::wstring russian = LoadStringLang(id);
        SCOPED_TRACE(id);
        EXPECT_EQ(english.empty(), russian.empty());
        EXPECT_EQ(inserts(english), inserts(russian));
        count += !english.empty();
    }
    EXPECT_GT(count, 100);
    SetLanguage(kEnglish);
    EXPECT_EQ(LoadStringLang(IDS_CHECK_NO_ERRORS), L"no errors were detected");
}

TEST(WholeFile, IsWrittenOrNotThereAtAll) {
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"file";
    const std::byte one[] = {std::byte{1}}, two[] = {std::byte{2}};
    EXPECT_TRUE(WriteWholeFile(path, one, Existing::Keep));
    const Result<> again = WriteWholeFile(path, two, Existing::Keep);
    ASSERT_FALSE(again);
    EXPECT_EQ(again.Failed().code, DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(Read(path), "\1");
    EXPECT_TRUE(WriteWholeFile(path, two, Existing::Replace));
    EXPECT_EQ(Read(path), "\2");
    EXPECT_FALSE(WriteWholeFile(directory.Path() + L"no such\\file", one, Existing::Keep));
}

// Where a run writes, in place of a console.
class Written {
  public:
    explicit Written(const std::wstring& path)
        : file_(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0,
                            nullptr)) {}
    HANDLE Handle() const { return file_.get(); }
    void Clear() const {
        SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN);
        SetEndOfFile(file_.get());
    }
    std::string Text() const {
        std::string text(GetFileSize(file_.get(), nullptr), '\0');
        DWORD read = 0;
        SetFilePointer(file_.get(), 0, nullptr, FILE_BEGIN);
        EXPECT_TRUE(ReadFile(file_.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr));
        return text;
    }

  private:
    UniqueFile file_;
};

// None of these is a container, which the command says of each.
TEST(Arguments, AreReadAsTheyAre) {
    const std::vector<std::wstring> names = {L"[a,b]", L"check",   L"",   L"/x",   L"%s%n",
                                             L"a=b",   L"{\"a\"}", L"-x", L"--all"};
    std::vector<std::wstring> arguments = {L"--json", L"check", L"--silent"};
    for (const std::wstring& name : names) {
        if (name == L"-x") arguments.push_back(L"--");
        arguments.push_back(name);
    }
    const TemporaryDirectory directory;
    const Written out(directory.Path() + L"out"), err(directory.Path() + L"err");
    Output output(out.Handle(), err.Handle());
    EXPECT_EQ(RunConsole(arguments, output), ExitCode::Failed);
    const ParsedJson document = ParseJson(out.Text());
    ASSERT_TRUE(document.value) << out.Text();
    const Value* items = document.value->Find(L"containers");
    ASSERT_TRUE(items);
    std::vector<std::wstring> found;
    for (const Value& item : *items->As<Value::Array>()) found.push_back(*item.Find(L"name")->As<std::wstring>());
    EXPECT_EQ(found, names);
}

constexpr wchar_t kName[] = L"vt console", kCopyName[] = L"vt console copy";

bool OpensAndPasses(const wchar_t* name) {
    struct Ignored final : CheckReport {
        void Row(UINT, UINT) override {}
        void Row(UINT, std::wstring_view) override {}
        void Failure(UINT, DWORD) override {}
        void Continuation(std::wstring_view) override {}
        void Continuation(UINT) override {}
        void Verdict(UINT, UINT) override {}
    } report;
    CCryptProvContext context;
    return context.Acquire(CRYPT_SILENT, name, kProvider75, 75) && CheckContainer(context.Get(), KeySet::User, report);
}

bool IsThere(const wchar_t* name) {
    CCryptProvContext context;
    return static_cast<bool>(context.Acquire(CRYPT_SILENT, name, kProvider75, 75));
}

void Remove(const wchar_t* name) {
    CCryptProvContext context;
    static_cast<void>(context.Acquire(CRYPT_SILENT | CRYPT_DELETEKEYSET, name, kProvider75, 75));
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

    using Verdict = std::function<std::string(const Fault& fault, ExitCode code)>;

    void Survive(const char* name, std::vector<std::wstring> arguments, const Verdict& verdict,
                 std::size_t distance = 1, const std::set<std::string_view>& again = {}) {
        const std::vector<std::wstring> common = {L"--json", L"--silent", L"--lang", L"en"};
        arguments.insert(arguments.begin(), common.begin(), common.end());
        ExitCode code = ExitCode::Done;
        FaultInjection injection;
        injection.Survive(
            name,
            [&] {
                out.Clear();
                err.Clear();
                Output output(out.Handle(), err.Handle());
                code = RunConsole(arguments, output);
            },
            [&](const Fault& fault) -> std::string {
                const ParsedJson document = ParseJson(out.Text());
                if (!document.value) return "no valid document: " + out.Text();
                const Value* written = document.value->Find(L"exitCode");
                if (!written || *written != Value(static_cast<int>(code))) return "another exit code: " + out.Text();
                // Without conversions there is no UTF-8, in which messages are written.
                const bool converts = std::string_view(fault.function).find("Wide") == std::string_view::npos;
                if (code == ExitCode::Failed && err.Text().empty() && converts && !fault.onwards) return "no message";
                return verdict(fault, code);
            },
            distance, again);
    }

    const LoadedProvider held;
    const TemporaryDirectory directory;
    const Written out{directory.Path() + L"out"}, err{directory.Path() + L"err"};
};

TEST_F(TorturedCommands, ListSurvives) {
    // Wine lists the computer's root store twice, so its certificates are read twice.
    Survive("list", {L"list", L"--provider", kProvider75},
            [](const Fault& fault, ExitCode code) {
                return fault.point == Fault::kNone && code != ExitCode::Done ? "fails without a fault" : "";
            },
            kTenth, {"CertOpenStore", "CertEnumCertificatesInStore", "CertGetCertificateContextProperty"});
}

TEST_F(TorturedCommands, CheckSurvives) {
    // The check itself has a loop of its own.
    Survive(
        "check", {L"check", kName},
        [](const Fault& fault, ExitCode code) {
            return fault.point == Fault::kNone && code != ExitCode::Done ? "fails without a fault" : "";
        },
        kTenth);
}

TEST_F(TorturedCommands, CopySurvives) {
    Survive("copy", {L"copy", kName, kCopyName}, [](const Fault& fault, ExitCode code) -> std::string {
        const bool there = IsThere(kCopyName), whole = there && OpensAndPasses(kCopyName);
        Remove(kCopyName);
        if (!OpensAndPasses(kName)) return "the source is damaged";
        if (code == ExitCode::Done) return whole ? "" : "not all is copied";
        if (fault.point == Fault::kNone) return "fails without a fault";
        // When all following calls fail, too, the rest can't be removed.
        return there && !whole && !fault.onwards ? "an incomplete copy is left" : "";
    });
}

TEST_F(TorturedCommands, DeleteSurvives) {
    const LoadedProvider kept;
    RunTool(L"create \"vt console copy\"");
    Survive("delete", {L"delete", kCopyName, L"--yes"}, [](const Fault& fault, ExitCode code) -> std::string {
        const bool there = IsThere(kCopyName);
        if (!there) RunTool(L"create \"vt console copy\"");
        if (fault.point == Fault::kNone && code != ExitCode::Done) return "fails without a fault";
        return code == ExitCode::Done && there ? "a failure reads as success" : "";
    });
}

TEST_F(TorturedCommands, InstallSurvives) {
    const KeptStores stores;
    const std::wstring file = directory.Path() + L"issued.cer";
    ASSERT_EQ(RunTool(L"certificate \"vt console\" --key x --subject CN=VestraTest --out \"" + file + L"\""), 0u);
    Survive("install", {L"install", file, L"--container", kName, L"--into-container", L"--replace"},
            [](const Fault& fault, ExitCode code) -> std::string {
                const bool there = !!FindTestCertificate(SystemStore(L"My").get());
                RemoveTestCertificates();
                if (fault.point == Fault::kNone && code != ExitCode::Done) return "fails without a fault";
                return code == ExitCode::Done && !there ? "a failure reads as success" : "";
            });
}

TEST_F(TorturedCommands, CertificatesSurvive) {
    const KeptStores stores;
    Survive("certificates", {L"certificates", kName, L"--install", L"--replace"},
            [](const Fault& fault, ExitCode code) -> std::string {
                const bool there = !!FindTestCertificate(SystemStore(L"My").get());
                RemoveTestCertificates();
                if (fault.point == Fault::kNone && code != ExitCode::Done) return "fails without a fault";
                return code == ExitCode::Done && !there ? "a failure reads as success" : "";
            });
}

}  // namespace
