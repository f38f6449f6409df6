#include "tests/support/LibraryFunction.h"

#include <memory>

namespace {

struct State {
    std::map<std::string, void*> replacements;
    std::map<std::string, int> lookUps;
    std::unique_ptr<ImportPatch> patch;
};

State& Current() {
    static State state;
    return state;
}

FARPROC WINAPI Look(HMODULE module, LPCSTR name) {
    State& state = Current();
    if (HIWORD(reinterpret_cast<ULONG_PTR>(name)) != 0) {
        ++state.lookUps[name];
        if (const auto found = state.replacements.find(name); found != state.replacements.end()) {
            if (!found->second) SetLastError(ERROR_PROC_NOT_FOUND);
            return reinterpret_cast<FARPROC>(found->second);
        }
    }
    return state.patch->Original<decltype(Look)>()(module, name);
}

}  // namespace

LibraryFunction::LibraryFunction(const char* name, void* replacement, int) : name_(name) {
    State& state = Current();
    state.replacements[name_] = replacement;
    if (!state.patch) state.patch = std::make_unique<ImportPatch>(nullptr, "GetProcAddress", &Look);
}

LibraryFunction::~LibraryFunction() {
    Current().replacements.erase(name_);
}

void LibraryFunction::ForgetLookUps() {
    Current().lookUps.clear();
}

const std::map<std::string, int>& LibraryFunction::LookUps() {
    return Current().lookUps;
}
