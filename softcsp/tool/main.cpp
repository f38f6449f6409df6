// softcsp: the software provider's tool.
#include <windows.h>

#include <cwchar>
#include <exception>
#include <vector>

#include "softcsp/common/Settings.h"
#include "softcsp/tool/Console.h"
#include "softcsp/tool/Registration.h"
#include "softcsp/tool/StoreCommand.h"

namespace {

using softcsp::Arguments;
using softcsp::Print;
using softcsp::Stream;

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

constexpr wchar_t kHelp[] =
    L"softcsp - the tool of the software provider for development and tests\n"
    L"\n"
    L"  softcsp init [--reset]               register the provider on this machine; with --reset\n"
    L"                                       the store, denied paths and settings go first\n"
    L"  softcsp store get PATH               show a parameter of the configuration store\n"
    L"  softcsp store put PATH VALUE [--text]\n"
    L"                                       write it: a decimal or 0x number, else (or with --text) a text\n"
    L"  softcsp store del PATH               delete a parameter, or a section with everything beneath\n"
    L"  softcsp store deny PATH              take the write and remove rights of a section or parameter,\n"
    L"                                       and of everything beneath\n"
    L"  softcsp store allow PATH             give them back\n"
    L"  softcsp set NAME=VALUE               change what the provider reports; without VALUE the default is back\n"
    L"\n"
    L"PATH is \\scope\\section\\...\\name, for example \\config\\Parameters\\DisableWL; scopes: config, global, "
    L"local.\n"
    L"\n"
    L"Settings:\n";

std::wstring Help() {
    std::wstring help = kHelp;
    for (const softcsp::Setting* setting : softcsp::kSettings) {
        const std::string meaning = setting->meaning;
        const std::wstring name = std::wstring(L"  ") + setting->name;
        help += name + std::wstring(12 - name.size(), L' ') + std::wstring(meaning.begin(), meaning.end()) +
                L" (default " + std::to_wstring(setting->missing) + L")\n";
    }
    return help + L"\nExit code: 0 done, 1 failed, 2 wrong usage.\n";
}

// False when the arguments make no sense.
bool Run(Arguments arguments) {
    if (arguments.empty()) return false;
    const std::wstring_view command = arguments[0];
    const Arguments rest = arguments.subspan(1);
    if (command == L"init") {
        const bool reset = rest.size() == 1 && rest[0] == L"--reset";
        if (!rest.empty() && !reset) return false;
        softcsp::Register(reset);
        Print(Stream::Output, L"softcsp: registered\n");
        return true;
    }
    if (command == L"store") return softcsp::RunStore(rest);
    if (command == L"set") return softcsp::RunSet(rest);
    if (command == L"--help" || command == L"-h") {
        Print(Stream::Output, Help());
        return true;
    }
    return false;
}

// The system's own words for a code, without the line end it adds.
std::wstring ErrorText(DWORD code) {
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                                  static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && iswspace(text[length - 1])) --length;
    return L"error " + std::to_wstring(code) + (length > 0 ? L": " : L"") + std::wstring(text, length);
}

}  // namespace

int wmain(int count, wchar_t** texts) {
    try {
        const std::vector<std::wstring_view> arguments(texts + 1, texts + count);
        if (Run(arguments)) return kDone;
        Print(Stream::Error, L"softcsp: wrong usage; softcsp --help tells the commands\n");
        return kUsage;
    } catch (const softcsp::Failure& failure) {
        Print(Stream::Error, L"softcsp: " + failure.what + L": " + ErrorText(failure.code) + L"\n");
    } catch (const std::exception& problem) {
        const std::string what = problem.what();
        Print(Stream::Error, L"softcsp: " + std::wstring(what.begin(), what.end()) + L"\n");
    }
    return kFailed;
}
