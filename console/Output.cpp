#include "console/Output.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "console/Json.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

constexpr std::size_t kKept = 8192;           // bytes that are collected before they are written
constexpr std::size_t kMostToConsole = 8000;  // characters of one call, which older systems limit
constexpr char kLineEnd[] = "\r\n";

}  // namespace

bool IsConsole(HANDLE handle) noexcept {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

TextStream::TextStream(HANDLE handle) noexcept : handle_(handle), console_(::IsConsole(handle)) {}

void TextStream::Write(std::wstring_view text) {
    if (!console_) {
        WriteUtf8(ToUtf8(text));
        return;
    }
    while (!text.empty() && !failed_) {
        DWORD written = 0;
        const auto length = static_cast<DWORD>(std::min(text.size(), kMostToConsole));
        failed_ = !WriteConsoleW(handle_, text.data(), length, &written, nullptr) || written == 0;
        text.remove_prefix(written);
    }
}

void TextStream::WriteUtf8(std::string_view bytes) {
    if (console_) {
        Write(FromUtf8(bytes));
        return;
    }
    bytes_ += bytes;
    if (bytes_.size() >= kKept) Flush();
}

bool TextStream::Flush() {
    std::string_view left = bytes_;
    while (!left.empty() && !failed_) {
        DWORD written = 0;
        failed_ = !WriteFile(handle_, left.data(), static_cast<DWORD>(left.size()), &written, nullptr) || written == 0;
        left.remove_prefix(written);
    }
    bytes_.clear();
    return !failed_;
}

void Output::Line(std::wstring_view text) {
    if (json_) return;
    ClearProgress();
    output_.Write(std::wstring(text) + L"\r\n");
}

// Each part is written as a whole before it counts as written: memory may run out at any time, and End completes the
// document then.
void Output::WriteMember(const std::wstring& name, std::string_view value) {
    EndItems();
    std::string member = (begun_ ? "," : "{\"format\":1,") + JsonText(name) + ":";
    output_.WriteUtf8(member.append(value));
    begun_ = true;
}

void Output::Member(const std::wstring& name, const Value& value) {
    if (json_) WriteMember(name, JsonText(value));
}

void Output::BeginItems(const std::wstring& name) {
    if (!json_) return;
    WriteMember(name, "[");
    inItems_ = true;
    anyItem_ = false;
}

void Output::Item(const Value& item) {
    if (!json_) return;
    output_.WriteUtf8((anyItem_ ? "," : "") + (kLineEnd + JsonText(item)));
    anyItem_ = true;
}

void Output::EndItems() {
    if (!inItems_) return;
    output_.WriteUtf8(anyItem_ ? std::string(kLineEnd) + "]" : "]");
    inItems_ = false;
}

bool Output::EndFailures() noexcept {
    try {
        ClearProgress();
        if (!failures_.IsNull()) Member(L"failures", failures_);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

ExitCode Output::End(ExitCode code) noexcept {
    if (!EndFailures()) code = ExitCode::Failed;
    try {
        if (json_) {
            EndItems();
            output_.WriteUtf8(begun_ ? "," : "{\"format\":1,");
            output_.WriteUtf8("\"exitCode\":" + std::to_string(static_cast<int>(code)) + "}" + kLineEnd);
        }
        if (!output_.Flush()) code = ExitCode::Failed;
        error_.Flush();
    } catch (const std::exception&) {
        code = ExitCode::Failed;
    }
    return code;
}

void Output::FailWithoutMemory() noexcept {
    try {
        Fail(IDS_PROGRAM_FAILED, {}, {ERROR_NOT_ENOUGH_MEMORY});
    } catch (const std::exception&) {
        failures_ = {};
    }
}

void Output::Message(std::wstring_view text) {
    ClearProgress();
    output_.Flush();  // in the order of the events, when both go to one file
    error_.Write(std::wstring(text) + L"\r\n");
    error_.Flush();
}

void Output::Fail(UINT what, const std::wstring& object, Failure why, const std::wstring& detail) {
    Value failure;
    failure.Add(L"message", FormatStringId(what, object, detail))
        .Add(L"object", object)
        .Add(L"error", FailureValue(why));
    if (json_) failures_.Append(std::move(failure));
    FailItem(what, object, why, detail);
}

void Output::FailItem(UINT what, const std::wstring& object, Failure why, const std::wstring& detail) {
    Message(FormatStringId(IDS_FAILURE_LINE, Insert::AsItIs(FormatStringId(what, object, detail)),
                           Insert::AsItIs(FailureText(why))));
}

void Output::Progress(std::size_t done, std::size_t all, const std::wstring& name) {
    if (!ShowsProgress()) return;
    constexpr std::size_t kLongestName = 50;  // characters; a longer line would wrap and could not be removed
    ClearProgress();
    const std::wstring count =
        FormatStringId(IDS_PROGRESS, Insert::AsItIs(std::to_wstring(done)), Insert::AsItIs(std::to_wstring(all)));
    const std::wstring line = count + VisibleText(name).substr(0, kLongestName);
    error_.Write(line);
    progressLength_ = line.size();
}

void Output::ClearProgress() {
    if (progressLength_ == 0) return;
    error_.Write(L"\r" + std::wstring(std::exchange(progressLength_, 0), L' ') + L"\r");
}

namespace {

// The text of a code with its lines joined.
std::wstring TextOf(Failure failure) {
    std::wstring text = ErrorText(failure.code, UserLanguage());
    std::wstring joined;
    for (const wchar_t c : text) {
        const bool space = c == L'\r' || c == L'\n';
        if (!space) joined += c;
        if (space && !joined.empty() && joined.back() != L' ') joined += L' ';
    }
    return joined;
}

}  // namespace

Value FailureValue(Failure failure) {
    Value value;
    value.Add(L"code", FillPlaces(L"0x%08X", {static_cast<unsigned>(failure.code)}));
    value.Add(L"number", failure.code);
    value.Add(L"text", TextOf(failure));
    return value;
}

std::wstring FailureText(Failure failure) {
    const auto code = static_cast<unsigned>(failure.code);
    return FillPlaces(LoadStringLang(IDS_ERROR_CODE), {code, code}) + TextOf(failure);
}

Value TimeValue(const FILETIME& time) {
    SYSTEMTIME utc;
    if (!FileTimeToSystemTime(&time, &utc)) return {};
    wchar_t text[40];
    std::swprintf(text, std::size(text), L"%04u-%02u-%02uT%02u:%02u:%02uZ", unsigned{utc.wYear}, unsigned{utc.wMonth},
                  unsigned{utc.wDay}, unsigned{utc.wHour}, unsigned{utc.wMinute}, unsigned{utc.wSecond});
    return text;
}
