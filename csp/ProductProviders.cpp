#include "csp/ProductProviders.h"

#include <wincrypt.h>

#include <cwchar>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"
#include "framework/Module.h"
#include "framework/Registry.h"

namespace {

constexpr wchar_t kMakerName[] = L"Kelvane";
constexpr wchar_t kProviderKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";

// This module's directory with the final backslash; empty when the module's path is unknown.
std::wstring OwnDirectory() {
    const std::wstring path = Module::LongFileName();
    return path.substr(0, path.rfind(L'\\') + 1);  // without a backslash rfind returns npos, and 0 characters remain
}

bool BeginsWith(const std::wstring& path, const std::wstring& directory) {
    const int length = static_cast<int>(directory.size());
    return path.size() >= directory.size() &&
           CompareStringOrdinal(path.c_str(), length, directory.c_str(), length, TRUE) == CSTR_EQUAL;
}

}  // namespace

std::wstring ProviderImagePath(const std::wstring& provider) {
    constexpr DWORD kMostBytes = 520;
    const auto value = ReadRegistryValue(HKEY_LOCAL_MACHINE, kProviderKeys + provider, L"Image Path", kMostBytes);
    if (!value || (value->type != REG_SZ && value->type != REG_EXPAND_SZ)) return {};
    const std::vector<BYTE>& bytes = value->bytes;
    const bool whole = bytes.size() % sizeof(wchar_t) == 0;
    const bool terminated = bytes.size() >= 2 && bytes[bytes.size() - 2] == 0 && bytes.back() == 0;
    return whole && terminated ? FromWide(bytes) : std::wstring();
}

bool InstalledProvider(DWORD index, std::wstring& name, DWORD& type) {
    DWORD foundType = 0;
    const Result<> found =
        ReadWideText([&](BYTE* data, DWORD* length) {
            return CryptEnumProvidersW(index, nullptr, 0, &foundType, reinterpret_cast<wchar_t*>(data), length);
        }).Into(name);
    if (found) type = foundType;
    return static_cast<bool>(found);
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
        if (state.ownDirectoryOnly && !BeginsWith(ProviderImagePath(found), *state.ownDirectory)) continue;
        name = std::move(found);
        type = foundType;
        return true;
    }
    return false;
}

std::wstring DefaultProviderName(DWORD type) {
    return ReadWideText([=](BYTE* data, DWORD* length) {
               return CryptGetDefaultProviderW(type, nullptr, CRYPT_MACHINE_DEFAULT, reinterpret_cast<wchar_t*>(data),
                                               length);
           })
        .ValueOr({});
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
    text += ProtectionClassName(ReadParameter<DWORD>(context.Get(), kParameterProtectionClass).ValueOr(0));
    if (build->debug == 1) text += L" Debug";
    return text;
}

bool IsDefaultProviderIntercepted() noexcept {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kProviderType75)) return false;
    const auto type = ReadParameter<DWORD>(context.Get(), PP_PROVTYPE);
    return type && *type != kProviderType75;
}
