#include "csp/Providers.h"

#include <wincrypt.h>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"
#include "framework/Handles.h"
#include "framework/Module.h"
#include "framework/Registry.h"
#include "framework/Text.h"

namespace {

constexpr wchar_t kMakerName[] = L"Kelvane";
constexpr wchar_t kTypeKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u";
constexpr wchar_t kProviderKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kProviderKeys32[] = L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\";

constexpr wchar_t kTypeKeys32[] =
    L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u";

std::wstring TypeKey(DWORD type) {
    return FillPlaces(kTypeKeys, {static_cast<unsigned>(type)});
}

Result<> OpenKey(const std::wstring& key, REGSAM access, UniqueRegistryKey& opened) {
    return TryCode(static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, access, opened.put())));
}

Result<> WriteText(const std::wstring& key, REGSAM access, const wchar_t* value, const std::wstring& text) {
    UniqueRegistryKey opened;
    if (const Result<> found = OpenKey(key, access, opened); !found) return found;
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));  // with the terminator
    return TryCode(static_cast<DWORD>(
        RegSetValueExW(opened.get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes)));
}

// This module's directory with the final backslash; empty when the module's path is unknown.
std::wstring OwnDirectory() {
    const std::wstring path = Module::LongFileName();
    return path.substr(0, path.rfind(L'\\') + 1);  // without a backslash rfind returns npos, and 0 characters remain
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

std::vector<Provider> ListInstalledProviders() {
    std::vector<Provider> providers;
    for (DWORD type = 0;;) {
        const auto position = static_cast<DWORD>(providers.size());
        Result<std::wstring> name = ReadWideText([&](BYTE* data, DWORD* length) {
            return CryptEnumProvidersW(position, nullptr, 0, &type, reinterpret_cast<wchar_t*>(data), length);
        });
        if (!name) return providers;
        providers.push_back({*std::move(name), type});
    }
}

std::vector<Provider> ListProductProviders(std::vector<Provider> installed) {
    std::erase_if(installed, [](const Provider& provider) {
        return provider.type != kProviderType75 && provider.name.find(kMakerName) == std::wstring::npos;
    });
    return installed;
}

std::vector<Provider> ListOwnProviders(std::vector<Provider> installed) {
    const std::wstring directory = OwnDirectory();
    if (directory.empty()) return {};
    std::vector<Provider> providers = ListProductProviders(std::move(installed));
    std::erase_if(providers,
                  [&](const Provider& provider) { return !BeginsWith(ProviderImagePath(provider.name), directory); });
    return providers;
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

    std::wstring text = FillPlaces(L"%u.%u.%04u ", {unsigned{HIBYTE(LOWORD(*version))},
                                                    unsigned{LOBYTE(LOWORD(*version))}, unsigned{build->build}});
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

std::optional<std::wstring> ReadProviderTypeName(DWORD type) {
    return ReadRegistryText(HKEY_LOCAL_MACHINE, TypeKey(type), L"TypeName");
}

bool MayWriteDefaultProvider(DWORD type) {
    UniqueRegistryKey opened;
    return static_cast<bool>(OpenKey(TypeKey(type), KEY_SET_VALUE, opened));
}

Result<> WriteDefaultProvider(DWORD type, const std::wstring& name) {
    const std::wstring key = TypeKey(type);
    if (const Result<> written = WriteText(key, KEY_SET_VALUE, L"Name", name); !written) return written;
    return WriteText(key, KEY_SET_VALUE | KEY_WOW64_32KEY, L"Name", name);
}

std::optional<std::wstring> ReadProviderText(const std::wstring& provider, const wchar_t* value) {
    return ReadRegistryText(HKEY_LOCAL_MACHINE, kProviderKeys + provider, value);
}

bool HasProviderValue(const std::wstring& provider, const wchar_t* value) {
    UniqueRegistryKey opened;
    return OpenKey(kProviderKeys + provider, KEY_QUERY_VALUE, opened) &&
           RegQueryValueExW(opened.get(), value, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
}

// The 32-bit view is written by its path and not by an access flag: installations create the value there.
Result<> WriteProviderText(const std::wstring& provider, const wchar_t* value, const std::wstring& text) {
    if (const Result<> written = WriteText(kProviderKeys + provider, KEY_WRITE, value, text); !written) return written;
    return WriteText(kProviderKeys32 + provider, KEY_WRITE, value, text);
}

std::array<RegistryPlace, 2> DefaultProviderPlaces(DWORD type) {
    return {{{TypeKey(type), L"Name"}, {FillPlaces(kTypeKeys32, {static_cast<unsigned>(type)}), L"Name"}}};
}

std::array<RegistryPlace, 2> ProviderTextPlaces(const std::wstring& provider, const wchar_t* value) {
    return {{{kProviderKeys + provider, value}, {kProviderKeys32 + provider, value}}};
}
