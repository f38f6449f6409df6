#include "framework/Registry.h"

#include "framework/Handles.h"

namespace {

std::wstring Expanded(const std::wstring& text) {
    std::wstring expanded(ExpandEnvironmentStringsW(text.c_str(), nullptr, 0), L'\0');
    const DWORD length = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), static_cast<DWORD>(expanded.size()));
    if (length == 0 || length > expanded.size()) return text;
    expanded.resize(length - 1);
    return expanded;
}

}  // namespace

std::optional<std::wstring> ReadRegistryText(HKEY root, const std::wstring& key, const wchar_t* value,
                                             bool expandable) {
    constexpr DWORD kMostBytes = 32768 * sizeof(wchar_t);
    UniqueRegistryKey opened;
    if (RegOpenKeyExW(root, key.c_str(), 0, KEY_QUERY_VALUE, opened.put()) != ERROR_SUCCESS) return {};

    DWORD type = 0, bytes = 0;
    if (RegQueryValueExW(opened.get(), value, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS) return {};
    if (!(type == REG_SZ || (expandable && type == REG_EXPAND_SZ))) return {};
    if (bytes % sizeof(wchar_t) != 0 || bytes > kMostBytes) return {};

    std::wstring text(bytes / sizeof(wchar_t), L'\0');
    const DWORD room = bytes, expected = type;
    if (RegQueryValueExW(opened.get(), value, nullptr, &type, reinterpret_cast<BYTE*>(text.data()), &bytes) !=
            ERROR_SUCCESS ||
        type != expected || bytes > room) {
        return {};
    }
    text.resize(bytes / sizeof(wchar_t));
    if (const size_t end = text.find(L'\0'); end != std::wstring::npos) text.resize(end);
    return type == REG_EXPAND_SZ ? Expanded(text) : text;
}
