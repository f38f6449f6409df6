#include "softcsp/common/Registry.h"

#include <cstring>
#include <memory>
#include <type_traits>

namespace softcsp {
namespace {

constexpr DWORD kFirstSize = 256;       // bytes of a value, tried before its size is known
constexpr DWORD kLongestName = 16'383;  // characters of a value's name; those of keys are shorter

DWORD Code(LSTATUS status) {
    return static_cast<DWORD>(status);
}

DWORD Write(HKEY root, const std::wstring& path, const std::wstring& name, DWORD type, const void* data,
            std::size_t size) {
    return Code(RegSetKeyValueW(root, path.c_str(), name.c_str(), type, data, static_cast<DWORD>(size)));
}

struct Close {
    void operator()(HKEY key) const { RegCloseKey(key); }
};
using OpenKey = std::unique_ptr<std::remove_pointer_t<HKEY>, Close>;

DWORD Open(HKEY root, const std::wstring& path, REGSAM access, OpenKey& key) {
    HKEY opened = nullptr;
    const LSTATUS status = RegOpenKeyExW(root, path.c_str(), 0, access, &opened);
    key.reset(opened);
    return Code(status);
}

// `next` is RegEnumKeyEx or RegEnumValue, called with an index, a buffer and its capacity.
template <class Next>
std::vector<std::wstring> Names(Next&& next) {
    std::vector<std::wstring> names;
    std::wstring buffer(kLongestName, L'\0');
    for (DWORD length = kLongestName + 1; next(static_cast<DWORD>(names.size()), buffer.data(), &length) == 0;
         length = kLongestName + 1)
        names.emplace_back(buffer.data(), length);
    return names;
}

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

DWORD ReadValue(HKEY root, const std::wstring& path, const std::wstring& name, RegistryData& data) {
    RegistryData read;
    LSTATUS status = ERROR_MORE_DATA;
    for (DWORD size = kFirstSize; status == ERROR_MORE_DATA;) {
        read.bytes.resize(size);
        status = RegGetValueW(root, path.c_str(), name.c_str(), RRF_RT_ANY | RRF_NOEXPAND, &read.type,
                              read.bytes.data(), &size);
        if (status == ERROR_SUCCESS) read.bytes.resize(size);
    }
    if (status == ERROR_SUCCESS) data = std::move(read);
    return Code(status);
}

DWORD ReadNumber(HKEY root, const std::wstring& path, const std::wstring& name, DWORD missing) {
    RegistryData data;
    DWORD number = missing;
    if (ReadValue(root, path, name, data) == ERROR_SUCCESS) data.Number(number);
    return number;
}

DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, DWORD number) {
    return Write(root, path, name, REG_DWORD, &number, sizeof number);
}

DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, const std::wstring& text) {
    return Write(root, path, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

DWORD WriteValue(HKEY root, const std::wstring& path, const std::wstring& name, const std::vector<BYTE>& bytes) {
    return Write(root, path, name, REG_BINARY, bytes.data(), bytes.size());
}

DWORD RemoveValue(HKEY root, const std::wstring& path, const std::wstring& name) {
    return Code(RegDeleteKeyValueW(root, path.c_str(), name.c_str()));
}

DWORD ClearValue(HKEY root, const std::wstring& path, const std::wstring& name) {
    const DWORD result = RemoveValue(root, path, name);
    return result == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : result;
}

DWORD CreateKey(HKEY root, const std::wstring& path, SECURITY_ATTRIBUTES* security) {
    HKEY key = nullptr;
    const LSTATUS status =
        RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_READ, security, &key, nullptr);
    if (status == ERROR_SUCCESS) RegCloseKey(key);
    return Code(status);
}

DWORD CheckKey(HKEY root, const std::wstring& path, REGSAM access) {
    OpenKey key;
    return Open(root, path, access, key);
}

DWORD RemoveKey(HKEY root, const std::wstring& path) {
    return Code(RegDeleteTreeW(root, path.c_str()));
}

DWORD ListKey(HKEY root, const std::wstring& path, KeyNames& names) {
    OpenKey key;
    if (const DWORD result = Open(root, path, KEY_READ, key)) return result;
    names.keys = Names([&](DWORD index, wchar_t* name, DWORD* length) {
        return RegEnumKeyExW(key.get(), index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    names.values = Names([&](DWORD index, wchar_t* name, DWORD* length) {
        return RegEnumValueW(key.get(), index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    return ERROR_SUCCESS;
}

}  // namespace softcsp
