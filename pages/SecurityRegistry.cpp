#include "pages/SecurityRegistry.h"

#include "framework/Handles.h"
#include "framework/RegistryValue.h"
#include "framework/Text.h"
#include "pages/SecurityState.h"

namespace {

constexpr wchar_t kTypeKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u";
constexpr wchar_t kProviderKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kProviderKeys32[] = L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kModuleName[] = L"KV Module Name";

std::wstring TypeKey(DWORD type) {
    return FillPlaces(kTypeKeys, {static_cast<unsigned>(type)});
}

LSTATUS Open(const std::wstring& key, REGSAM access, UniqueRegistryKey& opened) {
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, access, opened.put());
}

LSTATUS WriteText(const std::wstring& key, REGSAM access, const wchar_t* value, const std::wstring& text) {
    UniqueRegistryKey opened;
    if (const LSTATUS error = Open(key, access, opened)) return error;
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));  // the terminator too
    return RegSetValueExW(opened.get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes);
}

}  // namespace

std::wstring ProviderTypeName(DWORD type) {
    return ReadRegistryText(HKEY_LOCAL_MACHINE, TypeKey(type), L"TypeName").value_or(std::wstring());
}

bool MayWriteDefaultProvider(DWORD type) {
    UniqueRegistryKey opened;
    return Open(TypeKey(type), KEY_SET_VALUE, opened) == ERROR_SUCCESS;
}

LSTATUS WriteDefaultProvider(DWORD type, const std::wstring& provider) {
    const std::wstring key = TypeKey(type);
    if (const LSTATUS error = WriteText(key, KEY_SET_VALUE, L"Name", provider)) return error;
    return WriteText(key, KEY_SET_VALUE | KEY_WOW64_32KEY, L"Name", provider);
}

int ReadProviderMode(const std::wstring& provider) {
    return ModeOfModule(ReadRegistryText(HKEY_LOCAL_MACHINE, kProviderKeys + provider, kModuleName).value_or(L""));
}

// The view of 32-bit programs is named by its path here: that is where installations have the value.
LONG WriteProviderMode(const std::wstring& provider, int mode) {
    const wchar_t* const moduleName = ModuleOfMode(mode);
    if (!moduleName || provider.empty()) return E_UNEXPECTED;
    if (const LSTATUS error = WriteText(kProviderKeys + provider, KEY_WRITE, kModuleName, moduleName)) return error;
    return WriteText(kProviderKeys32 + provider, KEY_WRITE, kModuleName, moduleName);
}
