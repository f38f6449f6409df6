#include "tests/support/LibraryFunction.h"

namespace {

std::map<std::string, void*> replacements;
std::map<std::string, int> lookUps;

FARPROC WINAPI Look(HMODULE module, LPCSTR name);

const ImportPatch& Patch() {
    static const ImportPatch patch(nullptr, "GetProcAddress", &Look);
    return patch;
}

FARPROC WINAPI Look(HMODULE module, LPCSTR name) {
    if (HIWORD(reinterpret_cast<ULONG_PTR>(name)) != 0) {
        ++lookUps[name];
        if (const auto found = replacements.find(name); found != replacements.end()) {
            if (!found->second) SetLastError(ERROR_PROC_NOT_FOUND);
            return reinterpret_cast<FARPROC>(found->second);
        }
    }
    return Patch().Original<decltype(Look)>()(module, name);
}

}  // namespace

LibraryFunction::LibraryFunction(const char* name, void* replacement, int) : name_(name) {
    replacements[name_] = replacement;
    Patch();
}

LibraryFunction::~LibraryFunction() {
    replacements.erase(name_);
}

void LibraryFunction::ForgetLookUps() {
    lookUps.clear();
}

const std::map<std::string, int>& LibraryFunction::LookUps() {
    return lookUps;
}
