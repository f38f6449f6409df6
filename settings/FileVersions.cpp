#include "settings/FileVersions.h"

#include <imagehlp.h>

#include <algorithm>

#include "framework/Handles.h"
#include "framework/Registry.h"
#include "framework/Text.h"
#include "settings/ImageHeaders.h"

namespace {

constexpr const wchar_t* kSystemModules[] = {L"advapi32.dll", L"crypt32.dll",  L"inetcomm.dll", L"wininet.dll",
                                             L"schannel.dll", L"security.dll", L"secur32.dll"};
constexpr wchar_t kRegistered[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity\\kvcsp";

// Without a final backslash; empty when the system has no such directory.
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

// Pads a text with spaces on the right or on the left to the width of a column; longer texts stay whole.
std::wstring PadRight(const std::wstring& text, size_t width) {
    return text + std::wstring(width - std::min(width, text.size()), L' ');
}
std::wstring PadLeft(const std::wstring& text, size_t width) {
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
    // The texts that are compared, one after the other. Paths are unique.
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
        text += PadRight(file->name, 12) + L' ' + PadLeft(file->version, 16) + L' ' + PadLeft(file->type, 2) + L' ' +
                file->path + L"\r\n";
    }
    return text;
}

namespace {

constexpr wchar_t kUnknownType[] = L"32 bit";

using UniqueView = UniqueHandle<const void*, &UnmapViewOfFile>;

// The absolute path; empty on failure.
std::wstring FullPath(const std::wstring& path) {
    std::wstring full(GetFullPathNameW(path.c_str(), 0, nullptr, nullptr), L'\0');
    const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    full.resize(length < full.size() ? length : 0);
    return full;
}

// The path in the ANSI code page, which imagehlp.dll requires. Empty when the code page lacks one of the characters, or
// when it is UTF-8: Windows refuses the flag for it.
std::string AnsiPath(const std::wstring& path) {
    BOOL lacking = FALSE;
    const auto convert = [&](char* buffer, int size) {
        return WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, path.c_str(), -1, buffer, size, nullptr, &lacking);
    };
    std::string text(static_cast<size_t>(convert(nullptr, 0)), '\0');
    return convert(text.data(), static_cast<int>(text.size())) != 0 && !lacking ? text : std::string();
}

}  // namespace

FileVersion FileVersionsReader::Read(const std::wstring& path) const {
    FileVersion read{{}, {}, kUnknownType, path};
    constexpr DWORD kEverybodyElse = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, kEverybodyElse, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return read;
    if (std::wstring full = FullPath(path); !full.empty()) read.path = std::move(full);
    read.name = read.path.substr(read.path.rfind(L'\\') + 1);
    read.version = VersionOf(read.path);
    read.type = TypeOf(file.get(), read.path);
    return read;
}

std::wstring FileVersionsReader::VersionOf(const std::wstring& path) const {
    const auto getSize = versions_.Function<decltype(&GetFileVersionInfoSizeW)>("GetFileVersionInfoSizeW");
    const auto get = versions_.Function<decltype(&GetFileVersionInfoW)>("GetFileVersionInfoW");
    const auto query = versions_.Function<decltype(&VerQueryValueW)>("VerQueryValueW");
    if (!getSize || !get || !query) return {};
    DWORD unused = 0;
    std::vector<BYTE> info(getSize(path.c_str(), &unused));
    void* fixed = nullptr;
    UINT length = 0;
    if (info.empty() || !get(path.c_str(), 0, static_cast<DWORD>(info.size()), info.data()) ||
        !query(info.data(), L"\\", &fixed, &length) || length < sizeof(VS_FIXEDFILEINFO)) {
        return {};
    }
    const auto& numbers = *static_cast<const VS_FIXEDFILEINFO*>(fixed);
    std::wstring text = NumberText(HIWORD(numbers.dwFileVersionMS));
    for (const WORD number :
         {LOWORD(numbers.dwFileVersionMS), HIWORD(numbers.dwFileVersionLS), LOWORD(numbers.dwFileVersionLS)}) {
        text += L'.' + NumberText(number);
    }
    return text;
}

std::wstring FileVersionsReader::TypeOf(HANDLE file, const std::wstring& path) const {
    const auto map = images_.Function<decltype(&MapAndLoad)>("MapAndLoad");
    const auto unmap = images_.Function<decltype(&UnMapAndLoad)>("UnMapAndLoad");
    LARGE_INTEGER size{};
    if (!map || !unmap || !GetFileSizeEx(file, &size)) return kUnknownType;
    // A mapped file cannot be truncated by others.
    const UniqueKernelHandle mapping(CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr));
    const UniqueView view(mapping ? MapViewOfFile(mapping.get(), FILE_MAP_READ, 0, 0, 0) : nullptr);
    if (!view) return kUnknownType;
    const auto headers = ReadImageHeaders(static_cast<const BYTE*>(view.get()), static_cast<size_t>(size.QuadPart));
    if (!headers) return kUnknownType;
    // imagehlp.dll takes only paths in the ANSI code page.
    const std::string ansi = AnsiPath(path);
    if (ansi.empty()) return ImageType(headers->machine, headers->characteristics);
    LOADED_IMAGE image{};
    if (!map(ansi.c_str(), nullptr, &image, FALSE, TRUE)) return kUnknownType;
    const IMAGE_FILE_HEADER& header = image.FileHeader->FileHeader;
    const wchar_t* type = ImageType(header.Machine, header.Characteristics);
    unmap(&image);
    return type;
}

std::vector<FileVersion> ReadFileVersions(std::span<const std::wstring> paths) {
    const FileVersionsReader reader;
    std::vector<FileVersion> files;
    for (const std::wstring& path : paths) {
        if (!path.empty()) files.push_back(reader.Read(path));
    }
    return files;
}
