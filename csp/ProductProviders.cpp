#include "csp/ProductProviders.h"

#include <wincrypt.h>

#include <algorithm>
#include <cwchar>

#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "framework/Handles.h"

namespace {

constexpr wchar_t kMakerName[] = L"Kelvane";
constexpr wchar_t kProviderKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr DWORD kLongestPath = 32768;  // characters with the terminator

// Calls `read(buffer, &bytes)` twice, for the text's size and for the text. False when either call fails.
template <class Read>
bool ReadText(Read read, std::wstring& text) {
    DWORD size = 0;  // in bytes, with the terminator
    if (!read(nullptr, &size)) return false;
    std::wstring buffer(size / sizeof(wchar_t) + 1, L'\0');
    if (!read(buffer.data(), &size)) return false;
    buffer.resize(std::min(buffer.size(), buffer.find(L'\0')));
    text = std::move(buffer);
    return true;
}

// With the last backslash; empty when this module's path can't be had.
std::wstring OwnDirectory() {
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            reinterpret_cast<LPCWSTR>(&OwnDirectory), &module)) {
        return {};
    }
    std::wstring path(kLongestPath, L'\0');
    DWORD length = GetModuleFileNameW(module, path.data(), kLongestPath);
    if (length == 0 || length == kLongestPath) return {};
    length = GetLongPathNameW(path.c_str(), path.data(), kLongestPath);
    if (length == 0 || length >= kLongestPath) return {};
    path.resize(length);
    return path.substr(0, path.rfind(L'\\') + 1);  // none: nothing is left
}

// The path that a provider's library is registered with, as it stands there; empty when it is missing or malformed.
std::wstring ImagePath(const std::wstring& provider) {
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kProviderKeys + provider).c_str(), 0, KEY_QUERY_VALUE, key.put()) != 0) {
        return {};
    }
    wchar_t path[MAX_PATH] = L"";
    DWORD type = 0, size = sizeof path;
    static_assert(sizeof path == 520);
    if (RegQueryValueExW(key.get(), L"Image Path", nullptr, &type, reinterpret_cast<BYTE*>(path), &size) != 0) {
        return {};
    }
    const size_t length = size / sizeof(wchar_t);
    const bool text = (type == REG_SZ || type == REG_EXPAND_SZ) && size % sizeof(wchar_t) == 0;
    return text && length > 0 && path[length - 1] == L'\0' ? std::wstring(path) : std::wstring();
}

bool BeginsWith(const std::wstring& path, const std::wstring& directory) {
    const int length = static_cast<int>(directory.size());
    return path.size() >= directory.size() &&
           CompareStringOrdinal(path.c_str(), length, directory.c_str(), length, TRUE) == CSTR_EQUAL;
}

}  // namespace

bool InstalledProvider(DWORD index, std::wstring& name, DWORD& type) {
    DWORD found = 0;
    const auto read = [&](wchar_t* buffer, DWORD* size) {
        return CryptEnumProvidersW(index, nullptr, 0, &found, buffer, size);
    };
    if (!ReadText(read, name)) return false;
    type = found;
    return true;
}

bool EnumProductProviders(ProductProviders& state, std::wstring& name, DWORD& type) {
    if (state.ownDirectoryOnly) {
        if (!state.ownDirectory) state.ownDirectory = OwnDirectory();
        if (state.ownDirectory->empty()) return false;
    }
    std::wstring found;
    DWORD foundType = 0;
    while (InstalledProvider(state.index, found, foundType)) {
        ++state.index;
        if (foundType != kProviderType75 && found.find(kMakerName) == std::wstring::npos) continue;
        if (state.ownDirectoryOnly && !BeginsWith(ImagePath(found), *state.ownDirectory)) continue;
        name = std::move(found);
        type = foundType;
        return true;
    }
    return false;
}

std::wstring DefaultProviderName(DWORD type) {
    std::wstring name;
    ReadText(
        [type](wchar_t* buffer, DWORD* size) {
            return CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, buffer, size);
        },
        name);
    return name;
}

std::wstring ProtectionClassName(DWORD protectionClass) {
    static constexpr const wchar_t* names[] = {L"KC1", L"KC2", L"KC3", L"KB1", L"KB2", L"KA1"};
    if (protectionClass < 1 || protectionClass > std::size(names)) return {};
    return names[protectionClass - 1];
}

std::wstring CoreVersionText(const std::wstring& providerName) {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, providerName.c_str(), kProviderType75)) return {};
    const auto version = ReadParameter<DWORD>(context.Get(), PP_VERSION);
    const auto build = ReadParameter<BuildRecord>(context.Get(), kParameterBuild);
    if (!version || !build) return {};

    wchar_t number[40];
    std::swprintf(number, std::size(number), L"%u.%u.%04u ", unsigned{HIBYTE(LOWORD(*version))},
                  unsigned{LOBYTE(LOWORD(*version))}, unsigned{build->build});
    std::wstring text = number;
    text += ProtectionClassName(ReadParameter<DWORD>(context.Get(), kParameterProtectionClass).value_or(0));
    if (build->debug == 1) text += L" Debug";
    return text;
}

bool IsDefaultProviderIntercepted() noexcept {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kProviderType75)) return false;
    const auto type = ReadParameter<DWORD>(context.Get(), PP_PROVTYPE);
    return type && *type != kProviderType75;
}
