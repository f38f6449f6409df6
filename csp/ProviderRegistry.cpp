#include "csp/ProviderRegistry.h"

#include "framework/Handles.h"
#include "framework/Registry.h"
#include "framework/Text.h"

namespace {

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

}  // namespace

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
