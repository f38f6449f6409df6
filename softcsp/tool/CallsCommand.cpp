// "calls": how often a program called the provider.
#include "softcsp/common/CallRecord.h"

#include "softcsp/tool/Commands.h"
#include "softcsp/tool/Console.h"

namespace softcsp {
namespace {

constexpr Option kStart{L"--start"}, kStop{L"--stop"};
constexpr Option kOptions[] = {kStart, kStop};

std::wstring Text(const CallCounts& counts) {
    std::wstring text;
    for (std::size_t i = 0; i < counts.calls.size(); ++i)
        if (counts.calls[i] != 0) text += kProviderEntries[i] + (L' ' + std::to_wstring(counts.calls[i])) + L'\n';
    for (std::size_t i = 0; i < counts.open.size(); ++i)
        text += std::wstring(L"open ") + kHandleKinds[i] + L' ' + std::to_wstring(counts.open[i]) + L'\n';
    return text;
}

}  // namespace

bool RunCalls(Arguments arguments) {
    const Options options(arguments, kOptions, {1, 1});
    const std::wstring& program = options.Names()[0];
    if (options.Has(kStart.name) && options.Has(kStop.name)) return false;
    if (options.Has(kStart.name)) {
        Check(StartCallRecord(program), L"can't record the calls of " + program);
    } else if (options.Has(kStop.name)) {
        Check(StopCallRecord(program), L"can't end the record of " + program);
    } else {
        CallCounts counts{};
        Check(ReadCallRecord(program, counts), L"can't read the record of " + program);
        Print(Stream::Output, Text(counts));
    }
    return true;
}

}  // namespace softcsp
