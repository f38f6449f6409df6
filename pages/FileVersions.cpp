#include "pages/FileVersions.h"

#include <algorithm>

#include "framework/Handles.h"
#include "framework/RegistryValue.h"

namespace {

constexpr const wchar_t* kSystemModules[] = {L"advapi32.dll", L"crypt32.dll",  L"inetcomm.dll", L"wininet.dll",
                                             L"schannel.dll", L"security.dll", L"secur32.dll"};
constexpr wchar_t kRegistered[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity\\kvcsp";

// Without its last backslash; empty when the system has none.
std::wstring Directory(UINT(WINAPI* get)(LPWSTR, UINT)) {
    wchar_t path[MAX_PATH];
    const UINT length = get(path, MAX_PATH);
    return {path, length < MAX_PATH ? length : 0};
}

void AddRegistered(std::vector<std::wstring>& paths) {
    UniqueRegistryKey modules;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRegistered, 0, KEY_ENUMERATE_SUB_KEYS, modules.put()) != ERROR_SUCCESS) {
        return;
    }
    wchar_t name[MAX_PATH];
    for (DWORD i = 0; RegEnumKeyW(modules.get(), i, name, MAX_PATH) == ERROR_SUCCESS; ++i) {
        if (auto path = ReadRegistryText(modules.get(), name, L"Path", true)) paths.push_back(std::move(*path));
    }
}

// Text at the left or the right of a column, which grows with longer texts.
std::wstring AtLeft(const std::wstring& text, size_t width) {
    return text + std::wstring(width - std::min(width, text.size()), L' ');
}
std::wstring AtRight(const std::wstring& text, size_t width) {
    return std::wstring(width - std::min(width, text.size()), L' ') + text;
}

int Compare(const std::wstring& left, const std::wstring& right) noexcept {
    return CompareStringOrdinal(left.c_str(), static_cast<int>(left.size()), right.c_str(),
                                static_cast<int>(right.size()), TRUE) -
           CSTR_EQUAL;
}

}  // namespace

std::vector<std::wstring> ListedFiles() {
    const std::wstring system = Directory(&GetSystemDirectoryW), system32 = Directory(&GetSystemWow64DirectoryW);
    std::vector<std::wstring> paths;
    for (const wchar_t* name : kSystemModules) {
        paths.push_back(system + L'\\' + name);
        paths.push_back(system32 + L'\\' + name);
    }
    AddRegistered(paths);
    return paths;
}

const wchar_t* ImageType(WORD machine, WORD characteristics) noexcept {
    switch (machine) {
        case IMAGE_FILE_MACHINE_I386: return L"x86";
        case IMAGE_FILE_MACHINE_IA64: return L"ia64";
        case IMAGE_FILE_MACHINE_AMD64: return L"x64";
        default: return (characteristics & IMAGE_FILE_32BIT_MACHINE) != 0 ? L"32 bit" : L"64 bit";
    }
}

int CompareFileVersions(const FileVersion& left, const FileVersion& right, VersionColumn by, bool descending) noexcept {
    using Field = std::wstring FileVersion::*;
    static constexpr Field name = &FileVersion::name, version = &FileVersion::version, type = &FileVersion::type,
                           path = &FileVersion::path;
    // Which texts decide, one after the other. A path is enough by itself.
    static constexpr Field orders[][4] = {{name, version, type, path},
                                          {version, name, type, path},
                                          {type, name, version, path},
                                          {path, path, path, path}};
    for (const Field field : orders[static_cast<size_t>(by)]) {
        if (const int order = Compare(left.*field, right.*field)) return descending ? -order : order;
    }
    return 0;
}

std::wstring FileVersionsText(std::span<const FileVersion* const> files) {
    std::wstring text;
    for (const FileVersion* file : files) {
        text += AtLeft(file->name, 12) + L' ' + AtRight(file->version, 16) + L' ' + AtRight(file->type, 2) + L' ' +
                file->path + L"\r\n";
    }
    return text;
}
