#include "tests/support/MemoryFaults.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <utility>

namespace {

enum class Owner { Panel, Library, Other };

struct Code {
    std::size_t begin = 0, end = 0;  // from the start of the module
    Owner owner = Owner::Other;
    std::string name;
};

Owner OwnerOf(const std::string& section, const std::string& object) {
    for (const char* standard : {"$_ZNSt", "$_ZNKSt", "$_ZSt", "$_ZN9__gnu_cxx"})
        if (section.starts_with(std::string(".text") + standard)) return Owner::Library;
    if (object.find("libstdc++") != object.npos) return Owner::Library;
    for (const char* panel : {"framework", "services", "csp", "settings", "wizards", "pages", "panel"})
        if (object.find(std::string("/lib") + panel + ".a(") != object.npos) return Owner::Panel;
    return Owner::Other;
}

// The map names each function's section, its address, size and object file, in one line or in two.
std::vector<Code> ReadMap() {
    wchar_t program[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    std::ifstream map(std::filesystem::path(program).replace_extension(L"map"));
    const std::size_t base = 0x140000000;
    std::vector<Code> code;
    for (std::string line; std::getline(map, line);) {
        if (!line.starts_with(" .text")) continue;
        std::istringstream words(line);
        std::string section, address, size, object, rest;
        if (words >> section; !(words >> address)) {
            std::getline(map, rest);
            words = std::istringstream(rest);
            words >> address;
        }
        words >> size >> object;
        const std::size_t at = std::strtoull(address.c_str(), nullptr, 16),
                          length = std::strtoull(size.c_str(), nullptr, 16);
        if (at <= base || length == 0) continue;
        code.push_back({at - base, at - base + length, OwnerOf(section, object), section});
    }
    std::ranges::sort(code, {}, &Code::begin);
    EXPECT_FALSE(code.empty()) << "the linker's map isn't beside the program";
    return code;
}

const std::vector<Code>& Map() {
    static const std::vector<Code> map = ReadMap();
    return map;
}

const Code* CodeAt(std::size_t offset) {
    const auto next = std::ranges::upper_bound(Map(), offset, {}, &Code::begin);
    if (next == Map().begin() || offset > std::prev(next)->end) return nullptr;
    return &*std::prev(next);
}

struct State {
    MemoryFaults::Place failing;
    MemoryFaults::Allocations seen;
    bool failed = false;
};
std::optional<State> state;
DWORD thread = 0;  // whose allocations are looked at; 0 for none

// Calls further out than so many make no other place.
constexpr std::size_t kDepth = 3;

// Empty when the allocation isn't the panel's.
MemoryFaults::Place FindPlace() {
    std::array<void*, 40> frames{};
    const auto base = reinterpret_cast<std::size_t>(GetModuleHandleW(nullptr));
    const USHORT count = RtlCaptureStackBackTrace(0, frames.size(), frames.data(), nullptr);
    MemoryFaults::Place place;
    bool allocating = true;  // in this file's functions, which come first
    for (USHORT i = 0; i < count && place.size() < kDepth; ++i) {
        const std::size_t at = reinterpret_cast<std::size_t>(frames.at(i)) - base;
        const Code* code = CodeAt(at);
        if (allocating) {
            allocating = !code || code->name != ".text$_Znwy";
            continue;
        }
        if (!code || code->owner == Owner::Other) break;
        if (code->owner == Owner::Panel) place.push_back(at);
    }
    return place;
}

bool MustFailHere() {
    const MemoryFaults::Place place = FindPlace();
    if (place.empty()) return false;
    ++state->seen.count;
    state->seen.places.insert(place);
    if (state->failed || place != state->failing) return false;
    return state->failed = true;
}

bool MustFail() {
    const DWORD watched = std::exchange(thread, 0);  // what is allocated from here isn't the panel's
    const bool fails = MustFailHere();
    thread = watched;
    return fails;
}

}  // namespace

void* operator new(std::size_t size) {
    if (thread != 0 && thread == GetCurrentThreadId() && MustFail()) throw std::bad_alloc();
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

namespace MemoryFaults {

void Begin(const Place& failing) {
    Map();
    state.emplace().failing = failing;
    thread = GetCurrentThreadId();
}

void Stop() {
    thread = 0;
}

Allocations End() {
    return std::exchange(state, std::nullopt)->seen;
}

bool HasFailed() {
    return state && state->failed;
}

std::string Described(const Place& place) {
    std::string text;
    for (const std::size_t at : place) text += (text.empty() ? "" : " < ") + CodeAt(at)->name.substr(6);
    return text;
}

}  // namespace MemoryFaults
