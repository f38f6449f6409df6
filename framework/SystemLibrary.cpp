#include "framework/SystemLibrary.h"

#include <string>

namespace {

// Whether LoadLibraryExW supports the LOAD_LIBRARY_SEARCH_… flags. Windows 7 and Server 2008 R2 without their update
// refuse them with ERROR_INVALID_PARAMETER; the update brings this function, too.
bool KnowsSearchFlags() noexcept {
    const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    return kernel && GetProcAddress(kernel, "AddDllDirectory");
}

HMODULE LoadFrom(std::wstring directory, const wchar_t* fileName) {
    if (directory.empty()) return nullptr;
    if (directory.back() != L'\\') directory += L'\\';
    return LoadLibraryExW((directory + fileName).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

// Empty on failure.
std::wstring SystemDirectory() {
    wchar_t directory[MAX_PATH];
    const UINT length = GetSystemDirectoryW(directory, MAX_PATH);
    return length < MAX_PATH ? std::wstring(directory, length) : std::wstring();
}

// With the last backslash; empty on failure.
std::wstring ProgramsDirectory() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return {};
    const std::wstring program(path, length);
    return program.substr(0, program.rfind(L'\\') + 1);
}

// Calls `load`. Fails when memory is exhausted.
template <class Load>
HMODULE WithoutExceptions(Load load) noexcept {
    try {
        return load();
    } catch (...) {  // out of memory
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

}  // namespace

HMODULE LoadSystemLibrary(const wchar_t* fileName) noexcept {
    if (KnowsSearchFlags()) return LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    return WithoutExceptions([=] { return LoadFrom(SystemDirectory(), fileName); });
}

HMODULE LoadLibraryByPath(const wchar_t* path) noexcept {
    constexpr DWORD search = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS;
    return LoadLibraryExW(path, nullptr, KnowsSearchFlags() ? search : LOAD_WITH_ALTERED_SEARCH_PATH);
}

HMODULE LoadLibraryFromSafeDirectories(const wchar_t* fileName) noexcept {
    if (KnowsSearchFlags()) return LoadLibraryExW(fileName, nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS);
    return WithoutExceptions([=] {
        const HMODULE module = LoadFrom(ProgramsDirectory(), fileName);
        return module ? module : LoadFrom(SystemDirectory(), fileName);
    });
}
