#include "tests/support/FaultInjection.h"

#include <gtest/gtest-spi.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <new>

#include "tests/support/ImportPatch.h"
#include "tests/support/SystemCalls.h"

namespace {

using Word = SystemCalls::Word;
using Arguments = SystemCalls::Arguments;
using Scenario = FaultInjection::Scenario;

constexpr DWORD kRubbish = 0xBAD;  // in the last error after what succeeds

struct Holding {
    int references = 0;
    const char* opener = "";
    std::string question;  // by which it was opened
    Word provider = 0;     // of keys and hashes
};

// What a run did.
struct OneRun {
    DWORD thread = 0;                  // whose calls count; 0 while no run goes on
    std::vector<std::size_t> calls{};  // those that can fail, each by its function's position
    Fault fault{};
    std::map<std::pair<std::string_view, Word>, Holding> open{};  // by the functions that close them
    std::set<std::string> asked{};                                // since the last change
    std::set<std::string> begun{};                                // listings
    std::vector<std::string> repeated{};
    std::size_t opened = 0;
    std::string problems{};

    void Complain(const std::string& text) { problems += (problems.empty() ? "" : "; ") + text; }
} state;
std::optional<SystemCalls> calls;  // of the one injection there is
std::optional<LibraryFunction> lookUps;

bool HasFailed(Fails fails, Word result) {
    if (fails == Fails::WithNull) return result == 0;
    if (fails == Fails::WithFalse) return static_cast<DWORD>(result) == 0;
    if (fails == Fails::WithInvalidHandle) return result == ~Word{0};
    return fails == Fails::WithCode && static_cast<DWORD>(result) != ERROR_SUCCESS;
}

// As readable text, in which a handle is what opened it: its value may come again for another.
std::string ArgumentText(char kind, Word argument) {
    if (kind == '?') return argument ? "given" : "none";
    if (kind == 'a' && argument) return reinterpret_cast<const char*>(argument);
    if (kind == 'w' && argument > 0xFFFF)
        return testing::internal::String::ShowWideCString(reinterpret_cast<const wchar_t*>(argument));
    if (kind == 'h')
        for (const auto& [key, holding] : state.open)
            if (key.second == argument) return holding.question;
    char number[20];
    std::snprintf(number, sizeof number, "%llX", static_cast<unsigned long long>(argument));
    return number;
}

// The call with its arguments as far as they are the question; empty when it is none.
std::string QuestionText(const SystemFunction& function, const Arguments& arguments) {
    if (!function.question || !*function.question) return {};
    std::string text = function.name, separator = "(", listing;
    for (std::size_t i = 0; function.question[i]; ++i) {
        const char kind = function.question[i];
        if (kind == '.') continue;
        const std::string argument = ArgumentText(kind, arguments.at(i));
        if (kind == 'h' || kind == '=') listing += argument + ' ';
        if (kind == '+' && (arguments.at(i) & CRYPT_FIRST) != 0)
            state.begun.insert(listing);
        else if (kind == '+' && state.begun.contains(listing))
            return {};
        text += std::exchange(separator, ", ") + argument;
    }
    return text + ")";
}

void NoteAsked(const SystemFunction& function, const std::string& question) {
    if (function.question && !*function.question)
        FaultInjection::ForgetQuestions();
    else if (!question.empty() && !state.asked.insert(question).second)
        state.repeated.push_back(question);
}

void NoteOpened(const SystemFunction& function, const Arguments& arguments, const std::string& question, Word result) {
    Word handle = function.opens == kResult ? result : function.opens == kFirstArgument ? arguments[0] : 0;
    if (function.opens >= 0) handle = *reinterpret_cast<Word*>(arguments.at(static_cast<std::size_t>(function.opens)));
    if (!handle) return;
    Holding& holding = state.open[{function.closer, handle}];
    ++holding.references;
    holding.opener = function.name;
    holding.question = question.empty() ? std::string(function.name) + " " + std::to_string(++state.opened) : question;
    for (const std::string_view ofProvider : {"CryptDestroyKey", "CryptDestroyHash"})
        if (function.closer == ofProvider) holding.provider = arguments[0];
}

void NoteClosed(const SystemFunction& function, Word handle) {
    const std::string_view closer = function.closer;
    const auto found = state.open.find({closer, handle});
    if (found == state.open.end()) {
        // The C library closes handles of its own.
        if (closer != "CloseHandle") state.Complain(std::string(function.name) + " closes what isn't open");
        return;
    }
    if (--found->second.references > 0) return;
    state.open.erase(found);
    for (const auto& [key, holding] : state.open)
        if (closer == "CryptReleaseContext" && holding.provider == handle)
            state.Complain(std::string("what ") + holding.opener + " opened outlives its provider");
}

// Makes the call fail as the function would: what it closes, it closes all the same.
Word Fail(const SystemFunction& function, Word closed) {
    if (closed) CertFreeCertificateContext(reinterpret_cast<PCCERT_CONTEXT>(closed));
    if (!*state.fault.function) {
        state.fault.function = function.name;
        state.fault.error = function.error;
    }
    SetLastError(function.error);
    if (function.fails == Fails::WithInvalidHandle) return ~Word{0};
    return function.fails == Fails::WithCode ? function.error : 0;
}

bool MustFail(std::size_t index) {
    if (SystemFunctions()[index].fails == Fails::Never) return false;
    const std::size_t call = state.calls.size();
    state.calls.push_back(index);
    return !state.fault.memory && (call == state.fault.point || (state.fault.onwards && call > state.fault.point));
}

Word Handle(const SystemCalls::Call& call) {
    if (state.thread != GetCurrentThreadId()) return call();
    const SystemFunction& function = SystemFunctions()[call.function];
    const DWORD thread = std::exchange(state.thread, 0);  // what is called from here is none of the scenario's
    const Word closed = function.closes >= 0 ? call.a.at(static_cast<std::size_t>(function.closes)) : 0;
    if (closed) NoteClosed(function, closed);
    const std::string question = QuestionText(function, call.a);
    NoteAsked(function, question);
    Word result = 0;
    if (MustFail(call.function)) {
        result = Fail(function, closed);
    } else {
        result = call();
        if (!HasFailed(function.fails, result)) {
            NoteOpened(function, call.a, question, result);
            SetLastError(kRubbish);
        }
    }
    state.thread = thread;
    return result;
}

// --- Allocations -------------------------------------------------------------------------------------------------

// Whose code it is, as the linker's map beside the program says. An allocation is the panel's when its code is the
// nearest on the stack that isn't the C++ library's.
enum class Owner { Panel, Library, Other };

struct Code {
    Owner owner = Owner::Other;
    std::string section;  // ".text$" and the function's name
};

Owner OwnerOf(const std::string& section, const std::string& object) {
    for (const char* standard : {"$_ZNSt", "$_ZNKSt", "$_ZSt", "$_ZN9__gnu_cxx"})
        if (section.starts_with(std::string(".text") + standard)) return Owner::Library;
    if (object.find("libstdc++") != object.npos) return Owner::Library;
    for (const char* panel : {"framework", "services", "csp", "settings", "wizards", "pages", "panel"})
        if (object.find(std::string("/lib") + panel + ".a(") != object.npos) return Owner::Panel;
    return Owner::Other;
}

// The functions by their starts, from the start of the module. The map names each one's section, address, size and
// object file; what is not in the program has the address 0.
std::map<std::size_t, Code> ReadMap() {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::ifstream map(std::filesystem::path(program).replace_extension(L"map"));
    constexpr std::size_t kBase = 0x140000000;
    std::map<std::size_t, Code> code;
    for (std::string section, object; map >> section;) {
        std::size_t at = 0, size = 0;
        if (!section.starts_with(".text")) continue;
        if (map >> std::hex >> at >> size >> object && at > kBase && size > 0) {
            code[at - kBase] = {OwnerOf(section, object), section};
            code.try_emplace(at - kBase + size);  // until the next one begins
        }
        map.clear();
    }
    EXPECT_FALSE(code.empty()) << "the linker's map isn't beside the program";
    return code;
}

const Code& CodeAt(std::size_t offset) {
    static const std::map<std::size_t, Code> map = ReadMap();
    static const Code none;
    const auto next = map.upper_bound(offset);
    return next == map.begin() ? none : std::prev(next)->second;
}

// Where memory is allocated: the innermost calls of the panel's code that led to an allocation. Another allocation at
// the same place, in a loop for example, meets the same code when it fails.
using Place = std::vector<std::size_t>;

struct Allocations {
    DWORD thread = 0;  // where they are looked at; 0 for nowhere
    Place failing{};   // the first one at this place fails; empty: none
    std::size_t count = 0;
    std::set<Place> places{};
    bool failed = false;
} allocations;

// Calls further out than so many make no other place.
constexpr std::size_t kDepth = 3;

// Empty when the allocation isn't the panel's.
Place FindPlace() {
    std::array<void*, 40> frames{};
    const auto base = reinterpret_cast<std::size_t>(GetModuleHandleW(nullptr));
    const USHORT count = RtlCaptureStackBackTrace(0, frames.size(), frames.data(), nullptr);
    Place place;
    bool allocating = true;  // in this file's functions, which come first
    for (USHORT i = 0; i < count && place.size() < kDepth; ++i) {
        const std::size_t at = reinterpret_cast<std::size_t>(frames.at(i)) - base;
        const Code& code = CodeAt(at);
        if (allocating) {
            allocating = code.section != ".text$_Znwy";
            continue;
        }
        if (code.owner == Owner::Other) break;
        if (code.owner == Owner::Panel) place.push_back(at);
    }
    return place;
}

bool MustFailHere() {
    const Place place = FindPlace();
    if (place.empty()) return false;
    ++allocations.count;
    allocations.places.insert(place);
    if (allocations.failed || place != allocations.failing) return false;
    return allocations.failed = true;
}

std::string Described(const Place& place) {
    std::string text;
    for (const std::size_t at : place) text += (text.empty() ? "" : " < ") + CodeAt(at).section.substr(6);
    return text;
}

}  // namespace

void* operator new(std::size_t size) {
    if (allocations.thread != 0 && allocations.thread == GetCurrentThreadId()) {
        const DWORD thread = std::exchange(allocations.thread, 0);  // what is allocated from here isn't the panel's
        const bool fails = MustFailHere();
        allocations.thread = thread;
        if (fails) throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void operator delete(void* object) noexcept {
    std::free(object);
}
// Overwrites what is freed, so that a use after it shows.
void operator delete(void* object, std::size_t size) noexcept {
    if (object) std::memset(object, 0xDD, size);
    ::operator delete(object);
}

namespace {

// --- Runs --------------------------------------------------------------------------------------------------------

std::string Named(const Fault& fault) {
    if (fault.point == Fault::kNone) return "no fault: ";
    if (fault.memory) return std::string("no memory in ") + fault.function + ": ";
    return "point " + std::to_string(fault.point) + (fault.onwards ? " onwards" : "") + ", " + fault.function + ": ";
}

// One run; what was wrong with it in words.
std::string RunOnce(const Scenario& scenario, const FaultInjection::Inspect& inspect, Fault fault) {
    state = {.thread = GetCurrentThreadId(), .fault = fault};
    // Without memory the scenario's steps may not find what they expect, and the caller has to expect the exception.
    testing::TestPartResultArray unexpected;
    std::optional<testing::ScopedFakeTestPartResultReporter> reporter;
    if (fault.memory) reporter.emplace(testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &unexpected);
    try {
        scenario();
    } catch (const std::bad_alloc&) {
        if (!fault.memory) throw;
    }
    allocations.thread = state.thread = 0;
    reporter.reset();
    if (fault.memory && !allocations.failed) state.Complain("isn't reached again");
    for (const auto& [key, holding] : state.open)
        state.Complain(std::string("leaks what ") + holding.opener + " opened");
    if (const std::string text = inspect(state.fault); !text.empty()) state.Complain(text);
    return state.problems.empty() ? "" : Named(state.fault) + state.problems;
}

// The same scenario with each place of the panel's code that allocates memory failing once.
void RunWithoutMemory(const char* name, const Scenario& scenario, const FaultInjection::Inspect& inspect,
                      std::vector<std::string>& problems) {
    CodeAt(0);  // reads the map
    allocations = {.thread = GetCurrentThreadId()};
    problems.push_back(RunOnce(scenario, inspect, {}));
    const auto [count, places] = std::pair(allocations.count, allocations.places);
    for (const Place& place : places) {
        const std::string where = Described(place);
        const Fault fault{.point = 0, .memory = true, .function = where.c_str(), .error = DWORD(E_OUTOFMEMORY)};
        allocations = {.thread = GetCurrentThreadId(), .failing = place};
        problems.push_back(RunOnce(scenario, inspect, fault));
    }
    allocations = {};
    std::printf("%s: %zu allocations at %zu places\n", name, count, places.size());
}

}  // namespace

FaultInjection::FaultInjection(Support support) {
    calls.emplace(&Handle);
    if (support == Support::Included) lookUps.emplace(&SystemCalls::Replacement);
}

FaultInjection::~FaultInjection() {
    lookUps.reset();
    calls.reset();
}

FaultInjection::Figure FaultInjection::Run(const char* name, const std::function<void()>& scenario,
                                           const Inspect& inspect, std::size_t distance) {
    Figure figure;
    std::size_t runs = 0;
    const auto run = [&](Fault fault) {
        ++runs;
        figure.problems.push_back(RunOnce(scenario, inspect, fault));
    };
    run({});
    figure.repeated = state.repeated;
    const std::vector<std::size_t> made = state.calls;
    if (figure.problems[0].empty()) figure.points = made.size();
    for (std::size_t point = 0; point < figure.points; ++point) {
        const auto at = made.begin() + static_cast<std::ptrdiff_t>(point);
        const bool first = std::find(made.begin(), at, *at) == at,
                   last = std::find(at + 1, made.end(), *at) == made.end(), counted = point % distance == 0;
        if (counted || first) run({point, false});
        if (counted && (first || last)) run({point, true});
    }
    if (figure.points) RunWithoutMemory(name, scenario, inspect, figure.problems);
    run({});
    if (state.calls != made) figure.problems.emplace_back("the last run made other calls than the first");
    std::erase(figure.problems, "");
    std::printf("%s: %zu points, %zu runs, %zu problems\n", name, figure.points, runs, figure.problems.size());
    return figure;
}

std::size_t FaultInjection::Survive(const char* name, const Scenario& scenario, const Inspect& inspect,
                                    std::size_t distance, const std::set<std::string_view>& again) {
    const Figure figure = Run(name, scenario, inspect, distance);
    EXPECT_GT(figure.points, 0u) << name;
    for (const std::string& problem : figure.problems) ADD_FAILURE() << name << ": " << problem;
    for (const std::string_view question : figure.repeated)
        EXPECT_TRUE(again.contains(question.substr(0, question.find('(')))) << name << ": asks again for " << question;
    return figure.points;
}

bool FaultInjection::LacksMemory() {
    return allocations.failed;
}

void FaultInjection::ForgetQuestions() {
    state.asked.clear();
    state.begun.clear();
}
