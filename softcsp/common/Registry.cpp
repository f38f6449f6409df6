#include <cstring>

#include "softcsp/common/Registry.h"

namespace softcsp {

namespace {

DWORD Code(LSTATUS status) {
    return static_cast<DWORD>(status);
}

constexpr DWORD kMaxKeyName = 255;      // characters without the terminator
constexpr DWORD kMaxValueName = 16383;  // likewise

}  // namespace

DWORD RegistryData::Number(DWORD& number) const {
    if (type != REG_DWORD || bytes.size() != sizeof number) return ERROR_INVALID_DATA;
    std::memcpy(&number, bytes.data(), sizeof number);
    return ERROR_SUCCESS;
}

DWORD RegistryData::Text(std::wstring& text) const {
    if (type != REG_SZ) return ERROR_INVALID_DATA;
    std::wstring whole(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(whole.data(), bytes.data(), whole.size() * sizeof(wchar_t));
    whole.resize(wcsnlen(whole.c_str(), whole.size()));
    text = std::move(whole);
    return ERROR_SUCCESS;
}

DWORD RegistryKey::Open(HKEY root, const std::wstring& path, REGSAM access) {
    Close();
    return Code(RegOpenKeyExW(root, path.c_str(), 0, access, &key_));
}

DWORD RegistryKey::Create(HKEY root, const std::wstring& path, SECURITY_ATTRIBUTES* security) {
    Close();
    return Code(RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ | KEY_WRITE, security,
                                &key_, nullptr));
}

void RegistryKey::Close() {
    if (key_ != nullptr) RegCloseKey(key_);
    key_ = nullptr;
}

DWORD RegistryKey::Read(const std::wstring& name, RegistryData& data) const {
    RegistryData read;
    DWORD size = 0;
    DWORD result = Code(RegQueryValueExW(key_, name.c_str(), nullptr, &read.type, nullptr, &size));
    // The value may grow between the query for its size and the reading.
    while (result == ERROR_SUCCESS || result == ERROR_MORE_DATA) {
        read.bytes.resize(size);
        BYTE none = 0;  // an empty vector has a null address, which would query the size only
        result = Code(RegQueryValueExW(key_, name.c_str(), nullptr, &read.type,
                                       read.bytes.empty() ? &none : read.bytes.data(), &size));
        if (result != ERROR_SUCCESS) continue;
        read.bytes.resize(size);
        data = std::move(read);
        return ERROR_SUCCESS;
    }
    return result;
}

DWORD RegistryKey::WriteNumber(const std::wstring& name, DWORD number) const {
    return Code(
        RegSetValueExW(key_, name.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number));
}

DWORD RegistryKey::WriteText(const std::wstring& name, const std::wstring& text) const {
    const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return Code(RegSetValueExW(key_, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), size));
}

DWORD RegistryKey::WriteBytes(const std::wstring& name, const BYTE* bytes, DWORD count) const {
    return Code(RegSetValueExW(key_, name.c_str(), 0, REG_BINARY, bytes, count));
}

DWORD RegistryKey::Remove(const std::wstring& name) const {
    return Code(RegDeleteValueW(key_, name.c_str()));
}

std::vector<std::wstring> RegistryKey::Subkeys() const {
    std::vector<std::wstring> names;
    wchar_t name[kMaxKeyName + 1];
    for (DWORD index = 0;; ++index) {
        DWORD length = kMaxKeyName + 1;
        if (RegEnumKeyExW(key_, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return names;
        names.emplace_back(name, length);
    }
}

std::vector<std::wstring> RegistryKey::Values() const {
    std::vector<std::wstring> names;
    std::vector<wchar_t> name(kMaxValueName + 1);
    for (DWORD index = 0;; ++index) {
        DWORD length = kMaxValueName + 1;
        if (RegEnumValueW(key_, index, name.data(), &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS)
            return names;
        names.emplace_back(name.data(), length);
    }
}

DWORD RemoveRegistryTree(HKEY root, const std::wstring& path) {
    return Code(RegDeleteTreeW(root, path.c_str()));
}

}  // namespace softcsp
