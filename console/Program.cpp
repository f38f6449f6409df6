#include "console/Program.h"

#include <windows.h>

#include "applet/services/Strings.h"
#include "console/Arguments.h"
#include "console/Language.h"
#include "console/Session.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

ExitCode ReportWrongUsage(const Request& request, Output& output) {
    output.Message(request.problem);
    output.Member(L"problem", request.problem);
    return ExitCode::Usage;
}

ExitCode ShowText(const Request& request, Output& output) {
    output.Line(request.text);
    output.Member(L"text", request.text);
    return ExitCode::Done;
}

ExitCode RunCommand(const Request& request, Output& output) {
    WatchCancelKey();
    Pin pin;
    if (request.options.pinOnInput) {
        const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
        if (IsConsole(input)) output.Message(LoadStringLang(IDS_PIN_PROMPT));
        if (const Result<> read = pin.Read(input); !read) {
            output.Fail(IDS_PIN_FAILED, {}, read.Failed());
            return IsCancellation(read.Failed()) ? ExitCode::Cancelled : ExitCode::Failed;
        }
    }
    Session session(output, request.options, pin);
    const ExitCode code = request.command->Run(session);
    if (!session.Cancelled()) return code;
    output.Message(LoadStringLang(IDS_CANCELLED));
    return ExitCode::Cancelled;
}

ExitCode Run(std::span<const std::wstring> arguments, Output& output) {
    if (RequestsJson(arguments)) output.UseJson();
    const LANGID language = RequestedLanguage(arguments);
    SetLanguage(language ? language : LanguageSetting());
    const Request request = ParseArguments(arguments);
    output.Member(L"command", request.name.empty() ? Value() : Value(FromUtf8(request.name)));
    if (!request.problem.empty()) return ReportWrongUsage(request, output);
    return request.command ? RunCommand(request, output) : ShowText(request, output);
}

}  // namespace

ExitCode RunConsole(std::span<const std::wstring> arguments, Output& output) {
    ExitCode code = ExitCode::Failed;
    try {
        code = Run(arguments, output);
    } catch (const std::exception&) {  // out of memory
        output.FailWithoutMemory();
    }
    return output.End(code);
}
