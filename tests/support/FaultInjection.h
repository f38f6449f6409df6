// Lets the system's calls of the running program fail, one after the other, and counts its handles. Calls that the
// system's libraries make inside are left alone. A scenario runs once without a fault, which counts the calls that can
// fail: the points. Then it runs once for each point, with that call failing; at the first and the last call of each
// function once more, with all calls after it failing, too; and once for each place where the panel's code allocates
// memory, with no memory there. Every call that succeeds changes the thread's last error, closing ones too.
#pragma once

#include <set>

// The calls that a run lets fail.
struct Fault {
    static constexpr std::size_t kNone = ~std::size_t{0};
    std::size_t point = kNone;  // the first one; they count from 0
    bool onwards = false;       // all after it too
    bool memory = false;        // an allocation instead of a call
    const char* function = "";  // which one that was, or the functions around the allocation, innermost first,
    DWORD error = 0;            // and the code that it failed with
};

class FaultInjection {
  public:
    struct Figure {
        std::size_t points = 0;
        std::vector<std::string> problems;  // in words, each with its fault
        std::vector<std::string> repeated;  // calls of the run without a fault that asked for what was known already,
                                            // although neither the user nor the code had changed anything since
    };

    // The support library isn't imported but looked up. When it is `Included`, the functions of SystemFunctions() that
    // the running program looks up are replaced too, besides those that it imports.
    enum class Support { Left, Included };
    explicit FaultInjection(Support support = Support::Left);
    ~FaultInjection();
    FaultInjection(FaultInjection&&) = delete;

    // Runs the scenario as often as it takes and prints its figure under the name. `inspect` looks, with nothing
    // failing, at what a run left, and says what is wrong with it; empty when nothing is. The last run has no fault
    // again. `distance` above 1: the first call of each function is tried, and one point in so many.
    using Scenario = std::function<void()>;
    using Inspect = std::function<std::string(const Fault& fault)>;
    Figure Run(const char* name, const Scenario& scenario, const Inspect& inspect, std::size_t distance = 1);

    // The same; each problem and each repeated call fails the test, but for calls of the functions `again`. The number
    // of points.
    std::size_t Survive(const char* name, const Scenario& scenario, const Inspect& inspect, std::size_t distance = 1,
                        const std::set<std::string_view>& again = {});

    // What was asked so far may be asked again: the user has acted.
    static void ForgetQuestions();
    // Whether there was no memory in this run.
    static bool LacksMemory();
};

// The distance for a wizard or page below which another loop tries all points.
constexpr std::size_t kTenth = 10;
