// How long Wine's control.exe takes from its start to a panel's painted first page, warm: this panel side by side with
// Wine's own Internet panel, with a sheet of eight empty pages, and with its own templates shown without any code
// behind them, one after another in each round.
//   start_bench.exe [ROUNDS]
#include <windows.h>

#include <prsht.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "tools/panel/SheetWatch.h"

namespace {

constexpr double kGiveUp = 30'000;  // milliseconds

// Milliseconds from the start of control.exe to the painted sheet; negative when there was none.
double OpenOnce(const std::wstring& panel) {
    std::wstring command = L"control.exe \"" + panel + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    const double start = Now();
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return -1;
    HWND sheet = nullptr;
    double time = -1;
    while (Now() - start < kGiveUp) {
        if (!sheet) sheet = SheetWatch::Find(process.dwProcessId);
        if (sheet && SheetWatch::IsPainted(sheet)) {
            time = Now() - start;
            break;
        }
        Sleep(1);
    }
    if (sheet) PostMessageW(sheet, PSM_PRESSBUTTON, PSBTN_CANCEL, 0);
    if (WaitForSingleObject(process.hProcess, static_cast<DWORD>(kGiveUp)) != WAIT_OBJECT_0)
        TerminateProcess(process.hProcess, 1);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return time;
}

struct Panel {
    const char* name;
    std::wstring path;
    double limit;  // of the median of the rounds' ratios, our panel to this one
    std::vector<double> times;
};

std::wstring Beside(const wchar_t* file) {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    return own.substr(0, own.rfind(L'\\') + 1) + file;
}

}  // namespace

int main(int count, char** arguments) {
    const int rounds = count > 1 ? std::max(1, std::atoi(arguments[1])) : 21;
    constexpr int kWarmUps = 2;
    Panel panels[] = {{"vestra.cpl", Beside(L"vestra.cpl"), 1.0, {}},
                      {"Wine's inetcpl.cpl", L"C:\\windows\\system32\\inetcpl.cpl", 1.0, {}},
                      {"eight empty pages", Beside(L"empty.cpl"), 1.15, {}},
                      {"its bare templates", Beside(L"bare.cpl"), 1.15, {}}};
    for (int round = -kWarmUps; round < rounds; ++round) {
        for (Panel& panel : panels) {
            const double time = OpenOnce(panel.path);
            if (time < 0) {
                std::fprintf(stderr, "start_bench: %s showed no sheet\n", panel.name);
                return 1;
            }
            if (round >= 0) panel.times.push_back(time);
        }
    }
    for (const Panel& panel : panels) {
        std::vector<double> ratios;
        for (size_t i = 0; i < panel.times.size(); ++i) ratios.push_back(panels[0].times[i] / panel.times[i]);
        const double ratio = Median(ratios);
        std::printf("%-20s median %6.1f ms, fastest %6.1f ms; vestra.cpl / it: %.3f (wanted: at most %.2f)\n",
                    panel.name, Median(panel.times), *std::min_element(panel.times.begin(), panel.times.end()), ratio,
                    panel.limit);
    }
    return 0;
}
