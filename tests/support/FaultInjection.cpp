#include "tests/support/FaultInjection.h"

#include <wincrypt.h>

#include <gtest/gtest-spi.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <utility>

#include "tests/support/ImportPatch.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/MemoryFaults.h"

namespace {

// On x64 every argument that isn't a floating-point number travels in the same way, and one too many does no harm, so
// a single shape of replacement does for all functions.
using Word = ULONG_PTR;
using Arguments = std::array<Word, 12>;
using Raw = Word WINAPI(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);

constexpr std::size_t kMostFunctions = 128;
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
    std::map<std::pair<Owned::Kind, Word>, Holding> open{};
    std::set<std::string> asked{};  // since the last change
    std::set<std::string> begun{};  // listings
    std::vector<std::string> repeated{};
    std::size_t opened = 0;
    std::string problems{};
};

struct State : OneRun {
    std::array<std::unique_ptr<ImportPatch>, kMostFunctions> patches;
    std::array<std::unique_ptr<LibraryFunction>, kMostFunctions> lookUps;
    std::array<Raw*, kMostFunctions> originals{};

    void Complain(const std::string& text) { problems += (problems.empty() ? "" : "; ") + text; }
};
State* state = nullptr;  // of the one injection there is

Word CallOriginal(std::size_t index, const Arguments& a) {
    return state->originals[index](a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7], a[8], a[9], a[10], a[11]);
}

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
        for (const auto& [key, holding] : state->open)
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
            state->begun.insert(listing);
        else if (kind == '+' && state->begun.contains(listing))
            return {};
        text += std::exchange(separator, ", ") + argument;
    }
    return text + ")";
}

void NoteAsked(const SystemFunction& function, const std::string& question) {
    if (function.question && !*function.question)
        FaultInjection::ForgetQuestions();
    else if (!question.empty() && !state->asked.insert(question).second)
        state->repeated.push_back(question);
}

void NoteOpened(const SystemFunction& function, const Arguments& arguments, const std::string& question, Word result) {
    Word handle = 0;
    if (function.opens == kResult) handle = result;
    if (function.opens >= 0) handle = *reinterpret_cast<Word*>(arguments[static_cast<std::size_t>(function.opens)]);
    if (function.references >= 0) handle = arguments[static_cast<std::size_t>(function.references)];
    if (!handle) return;
    Holding& holding = state->open[{function.kind, handle}];
    ++holding.references;
    holding.opener = function.name;
    holding.question = question.empty() ? std::string(function.name) + " " + std::to_string(++state->opened) : question;
    const bool ofProvider = function.kind == Owned::Key || function.kind == Owned::Hash;
    if (ofProvider) holding.provider = arguments[0];
}

void NoteClosed(const SystemFunction& function, Word handle) {
    const auto found = state->open.find({function.kind, handle});
    if (found == state->open.end()) {
        if (function.kind == Owned::File) return;  // the C library closes handles of its own
        state->Complain(std::string(function.name) + " closes what isn't open");
        return;
    }
    if (--found->second.references > 0) return;
    state->open.erase(found);
    if (function.kind != Owned::Provider) return;
    for (const auto& [key, holding] : state->open)
        if (holding.provider == handle)
            state->Complain(std::string("the ") + key.first + " of " + holding.opener + " outlives its provider");
}

// Makes the call fail as the function would: what it closes, it closes all the same.
Word Fail(const SystemFunction& function, const Arguments& arguments) {
    if (function.closes >= 0 && function.kind == Owned::Certificate)
        CertFreeCertificateContext(
            reinterpret_cast<PCCERT_CONTEXT>(arguments[static_cast<std::size_t>(function.closes)]));
    if (!*state->fault.function) {
        state->fault.function = function.name;
        state->fault.error = function.error;
    }
    SetLastError(function.error);
    if (function.fails == Fails::WithInvalidHandle) return ~Word{0};
    return function.fails == Fails::WithCode ? function.error : 0;
}

bool MustFail(std::size_t index) {
    if (SystemFunctions()[index].fails == Fails::Never) return false;
    const std::size_t call = state->calls.size();
    state->calls.push_back(index);
    return !state->fault.memory && (call == state->fault.point || (state->fault.onwards && call > state->fault.point));
}

Word Handle(std::size_t index, const Arguments& arguments) {
    const SystemFunction& function = SystemFunctions()[index];
    if (state->thread != GetCurrentThreadId()) return CallOriginal(index, arguments);
    const DWORD thread = std::exchange(state->thread, 0);  // what is called from here is none of the scenario's
    if (function.closes >= 0 && arguments[static_cast<std::size_t>(function.closes)])
        NoteClosed(function, arguments[static_cast<std::size_t>(function.closes)]);
    const std::string question = QuestionText(function, arguments);
    NoteAsked(function, question);
    Word result = 0;
    if (MustFail(index)) {
        result = Fail(function, arguments);
    } else {
        result = CallOriginal(index, arguments);
        if (!HasFailed(function.fails, result)) {
            NoteOpened(function, arguments, question, result);
            SetLastError(kRubbish);
        }
    }
    state->thread = thread;
    return result;
}

template <std::size_t index>
Word WINAPI Entry(Word a0, Word a1, Word a2, Word a3, Word a4, Word a5, Word a6, Word a7, Word a8, Word a9, Word a10,
                  Word a11) {
    return Handle(index, {a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11});
}

template <std::size_t... indices>
constexpr std::array<Raw*, sizeof...(indices)> Entries(std::index_sequence<indices...>) {
    return {&Entry<indices>...};
}
constexpr auto kEntries = Entries(std::make_index_sequence<kMostFunctions>());

bool IsLookedUp(const SystemFunction& function) {
    return function.library == kSupportLibrary || function.library == kVersionLibrary ||
           function.library == kImageLibrary;
}

void IncludeLookUp(std::size_t index) {
    const char* name = SystemFunctions()[index].name;
    const HMODULE library = LoadLibraryA(SystemFunctions()[index].library);  // for good
    state->originals[index] = reinterpret_cast<Raw*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    state->lookUps[index] = std::make_unique<LibraryFunction>(name, kEntries.at(index));
}

std::string Named(const Fault& fault) {
    if (fault.point == Fault::kNone) return "no fault: ";
    if (fault.memory) return std::string("no memory in ") + fault.function + ": ";
    return "point " + std::to_string(fault.point) + (fault.onwards ? " onwards" : "") + ", " + fault.function + ": ";
}

}  // namespace

FaultInjection::FaultInjection(HMODULE module, Support support) {
    state = new State;
    const auto functions = SystemFunctions();
    for (std::size_t i = 0; i < functions.size(); ++i) {
        if (IsLookedUp(functions[i])) {
            if (support == Support::Included) IncludeLookUp(i);
            continue;
        }
        if (!ImportPatch::IsImported(module, functions[i].name)) continue;
        auto patch = std::make_unique<ImportPatch>(module, functions[i].name, kEntries.at(i));
        state->originals[i] = patch->Original<Raw>();
        state->patches[i] = std::move(patch);
    }
}

FaultInjection::~FaultInjection() {
    delete std::exchange(state, nullptr);
}

void FaultInjection::RunWithoutMemory(const char* name, const std::function<void()>& scenario, const Inspect& inspect,
                                      Figure& figure) {
    MemoryFaults::Begin();
    if (const std::string problem = RunOnce(scenario, inspect, {}); !problem.empty())
        figure.problems.push_back(problem);
    const MemoryFaults::Allocations all = MemoryFaults::End();
    for (const MemoryFaults::Place& place : all.places) {
        const std::string where = MemoryFaults::Described(place);
        const Fault fault{.point = 0, .memory = true, .function = where.c_str(), .error = DWORD(E_OUTOFMEMORY)};
        MemoryFaults::Begin(place);
        std::string problem = RunOnce(scenario, inspect, fault);
        if (!MemoryFaults::HasFailed()) problem += where + " isn't reached again";
        MemoryFaults::End();
        if (!problem.empty()) figure.problems.push_back(problem);
    }
    std::printf("%s: %zu allocations at %zu places\n", name, all.count, all.places.size());
}

std::string FaultInjection::RunOnce(const std::function<void()>& scenario, const Inspect& inspect, Fault fault) {
    static_cast<OneRun&>(*state) = {.thread = GetCurrentThreadId(), .fault = fault};
    // Without memory the scenario's steps may not find what they expect, and the caller has to expect the exception.
    testing::TestPartResultArray unexpected;
    std::optional<testing::ScopedFakeTestPartResultReporter> reporter;
    if (fault.memory) reporter.emplace(testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &unexpected);
    try {
        scenario();
    } catch (const std::bad_alloc&) {
        if (!fault.memory) throw;
    }
    MemoryFaults::Stop();
    reporter.reset();
    state->thread = 0;
    for (const auto& [key, holding] : state->open)
        state->Complain(std::string("leaks the ") + key.first + " of " + holding.opener);
    if (const std::string text = inspect(state->fault); !text.empty()) state->Complain(text);
    return state->problems.empty() ? "" : Named(state->fault) + state->problems;
}

FaultInjection::Figure FaultInjection::Run(const char* name, const std::function<void()>& scenario,
                                           const Inspect& inspect, std::size_t distance) {
    Figure figure;
    std::size_t runs = 0;
    const auto run = [&](Fault fault) {
        ++runs;
        if (const std::string problem = RunOnce(scenario, inspect, fault); !problem.empty())
            figure.problems.push_back(problem);
    };
    run({});
    figure.repeated = state->repeated;
    const std::vector<std::size_t> calls = state->calls;
    if (figure.problems.empty()) figure.points = calls.size();
    for (std::size_t point = 0; point < figure.points; ++point) {
        const auto at = calls.begin() + static_cast<std::ptrdiff_t>(point);
        const bool first = std::find(calls.begin(), at, *at) == at,
                   last = std::find(at + 1, calls.end(), *at) == calls.end(), counted = point % distance == 0;
        if (counted || first) run({point, false});
        if (counted && (first || last)) run({point, true});
    }
    if (figure.points) RunWithoutMemory(name, scenario, inspect, figure);
    run({});
    if (state->calls != calls) figure.problems.emplace_back("the last run made other calls than the first");
    std::printf("%s: %zu points, %zu runs, %zu problems\n", name, figure.points, runs, figure.problems.size());
    return figure;
}

std::size_t FaultInjection::Survive(const char* name, const std::function<void()>& scenario, const Inspect& inspect,
                                    std::size_t distance, const std::set<std::string_view>& again) {
    const Figure figure = Run(name, scenario, inspect, distance);
    EXPECT_GT(figure.points, 0u) << name;
    for (const std::string& problem : figure.problems) ADD_FAILURE() << name << ": " << problem;
    for (const std::string_view question : figure.repeated)
        EXPECT_TRUE(again.contains(question.substr(0, question.find('(')))) << name << ": asks again for " << question;
    return figure.points;
}

void FaultInjection::ForgetQuestions() {
    if (!state) return;
    state->asked.clear();
    state->begun.clear();
}
