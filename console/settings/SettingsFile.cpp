#include "console/settings/SettingsFile.h"

#include <cstdio>
#include <iterator>
#include <optional>
#include <utility>

#include "applet/services/Strings.h"
#include "console/Files.h"
#include "console/Json.h"
#include "framework/Handles.h"
#include "resources/console.h"

namespace {

constexpr wchar_t kFormat[] = L"format", kSettings[] = L"settings";
constexpr std::int64_t kFormatNumber = 1;

}  // namespace

Value ValueOf(const SettingValue& value) {
    return std::visit(
        [](const auto& kind) -> Value {
            if constexpr (std::is_same_v<std::decay_t<decltype(kind)>, std::monostate>) {
                return {};
            } else {
                return kind;
            }
        },
        value);
}

Value SettingsValue(const SettingEntries& entries) {
    Value settings = Value::Object();
    for (const SettingEntry& entry : entries) settings.Add(entry.name, ValueOf(entry.value));
    return settings;
}

Result<> WriteSettingsFile(const std::wstring& path, const SettingEntries& entries, bool overwrite) {
    Value document;
    document.Add(kFormat, kFormatNumber).Add(kSettings, SettingsValue(entries));
    const std::string text = JsonText(document, JsonLayout::Indented) + "\r\n";
    return WriteWholeFile(path, std::as_bytes(std::span(text)), overwrite ? Existing::Replace : Existing::Keep);
}

std::wstring BackupPath(const std::wstring& path) {
    SYSTEMTIME now;
    GetSystemTime(&now);
    wchar_t time[40];
    std::swprintf(time, std::size(time), L".%04u%02u%02u-%02u%02u%02u", unsigned{now.wYear}, unsigned{now.wMonth},
                  unsigned{now.wDay}, unsigned{now.wHour}, unsigned{now.wMinute}, unsigned{now.wSecond});
    std::wstring backup = path + time + L".backup.json";
    for (int number = 2; GetFileAttributesW(backup.c_str()) != INVALID_FILE_ATTRIBUTES; ++number) {
        backup = path + time + L"-" + std::to_wstring(number) + L".backup.json";
    }
    return backup;
}

namespace {

Result<std::string> ReadWholeFile(const std::wstring& path) {
    constexpr LONGLONG kLargest = 1 << 20;  // bytes; far more than all settings take
    const UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastFailure();
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file.get(), &size)) return LastFailure();
    if (size.QuadPart > kLargest) return Failure{ERROR_FILE_TOO_LARGE};
    std::string text(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr)) return LastFailure();
    text.resize(read);
    return text;
}

std::optional<SettingValue> SettingOf(const Value& value) {
    if (value.IsNull()) return SettingValue();
    if (const bool* flag = value.As<bool>()) return *flag;
    if (const auto* number = value.As<std::int64_t>()) return *number;
    if (const auto* text = value.As<std::wstring>()) return *text;
    return {};
}

// Reports all settings that have no usable value.
bool ReadSettings(const Value::Object& settings, SettingEntries& entries, Output& output) {
    bool good = true;
    for (const Member& member : settings) {
        if (auto value = SettingOf(member.value)) {
            entries.push_back({member.name, *std::move(value)});
        } else {
            output.Fail(IDS_SETTINGS_NO_VALUE, member.name, {ERROR_INVALID_DATA});
            good = false;
        }
    }
    return good;
}

}  // namespace

bool ReadSettingsFile(const std::wstring& path, SettingEntries& entries, Output& output) {
    const Result<std::string> text = ReadWholeFile(path);
    if (!text) {
        output.Fail(IDS_FILE_READ_FAILED, path, text.Failed());
        return false;
    }
    constexpr std::string_view kMark = "\xEF\xBB\xBF";  // which editors write before the text
    const std::string_view content = text->starts_with(kMark) ? std::string_view(*text).substr(kMark.size()) : *text;
    const ParsedJson parsed = ParseJson(content);
    if (!parsed.value) {
        const std::size_t offset = parsed.errorOffset + (text->size() - content.size());
        output.Fail(IDS_SETTINGS_NO_JSON, path, {ERROR_INVALID_DATA}, std::to_wstring(offset));
        return false;
    }
    const Value* format = parsed.value->Find(kFormat);
    if (!format || *format != Value(kFormatNumber)) {
        output.Fail(IDS_SETTINGS_NO_FORMAT, path, {ERROR_INVALID_DATA});
        return false;
    }
    const Value* settings = parsed.value->Find(kSettings);
    if (!settings || !settings->As<Value::Object>()) {
        output.Fail(IDS_SETTINGS_NO_SETTINGS, path, {ERROR_INVALID_DATA});
        return false;
    }
    return ReadSettings(*settings->As<Value::Object>(), entries, output);
}
