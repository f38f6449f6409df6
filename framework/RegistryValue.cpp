#include "framework/RegistryValue.h"

#include "framework/Handles.h"

std::optional<std::wstring> ReadRegistryText(HKEY root, const std::wstring& key, const wchar_t* value) {
    constexpr DWORD kMostBytes = 32768 * sizeof(wchar_t);
    UniqueRegistryKey opened;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_QUERY_VALUE, opened.put()) != ERROR_SUCCESS) return {};

    DWORD type = 0, bytes = 0;
    if (RegQueryValueExW(opened.get(), value, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) return {};
    if (type != REG_SZ || bytes % sizeof(wchar_t) != 0 || bytes > kMostBytes) return {};

    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    const DWORD room = bytes;
    if (RegQueryValueExW(opened.get(), value, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes) !=
            ERROR_SUCCESS ||
        type != REG_SZ || bytes > room) {
        return {};
    }
    text.resize(bytes / sizeof(wchar_t));
    if (const size_t end = text.find(L'\0'); end != std::wstring::npos) text.resize(end);
    return text;
}
