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

Result<RegistryValue> ReadRegistryValue(HKEY root, const std::wstring& key, const wchar_t* value, DWORD mostBytes) {
    UniqueRegistryKey opened;
    if (const LSTATUS error = RegOpenKeyExW(root, key.c_str(), 0, KEY_QUERY_VALUE, opened.put()))
        return Failure{static_cast<DWORD>(error)};
    RegistryValue read{};
    // A small value is read by one call, without a query for its size.
    constexpr DWORD kSmallValue = 1024;
    DWORD bytes = mostBytes;
    if (mostBytes > kSmallValue) {
        if (const LSTATUS error = RegQueryValueExW(opened.get(), value, nullptr, nullptr, nullptr, &bytes))
            return Failure{static_cast<DWORD>(error)};
        if (bytes > mostBytes) return Failure{ERROR_MORE_DATA};
    }
    read.bytes.resize(bytes);
    if (const LSTATUS error = RegQueryValueExW(opened.get(), value, nullptr, &read.type, read.bytes.data(), &bytes))
        return Failure{static_cast<DWORD>(error)};
    if (bytes > read.bytes.size()) return Failure{ERROR_MORE_DATA};  // an empty value that has grown since
    read.bytes.resize(bytes);
    return read;
}

std::optional<std::wstring> ReadRegistryText(HKEY root, const std::wstring& key, const wchar_t* value,
                                             bool expandable) {
    constexpr DWORD kMostBytes = 32768 * sizeof(wchar_t);
    const Result<RegistryValue> read = ReadRegistryValue(root, key, value, kMostBytes);
    if (!read || !(read->type == REG_SZ || (expandable && read->type == REG_EXPAND_SZ))) return {};
    if (read->bytes.size() % sizeof(wchar_t) != 0) return {};
    std::wstring text(reinterpret_cast<const wchar_t*>(read->bytes.data()), read->bytes.size() / sizeof(wchar_t));
    if (const size_t end = text.find(L'\0'); end != std::wstring::npos) text.resize(end);
    return read->type == REG_EXPAND_SZ ? Expanded(text) : text;
}
