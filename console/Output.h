// Output: what one run of the program writes. Rows for people, or one JSON document for programs, go to standard
// output; messages, failures and the progress go to standard error.
#pragma once

#include <windows.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "console/Command.h"
#include "console/Value.h"
#include "framework/Result.h"

// Whether a person reads or types at this handle.
bool IsConsole(HANDLE handle) noexcept;

// One of the standard handles. A console receives UTF-16, a pipe or file UTF-8. Lines end with CR LF.
class TextStream {
  public:
    explicit TextStream(HANDLE handle) noexcept;

    bool IsConsole() const noexcept { return console_; }

    // Text is kept until there is enough of it, except for a console.
    void Write(std::wstring_view text);
    void WriteUtf8(std::string_view bytes);

    // False when something could not be written, now or before.
    bool Flush();

  private:
    HANDLE handle_;
    bool console_;
    bool failed_ = false;
    std::string bytes_;  // UTF-8, not yet written
};

class Output {
  public:
    Output(HANDLE standardOutput, HANDLE standardError) : output_(standardOutput), error_(standardError) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    // Write a JSON document instead of rows. To be called first.
    void UseJson() noexcept { json_ = true; }
    bool IsJson() const noexcept { return json_; }

    // A row for people; nothing is written with JSON. `text` may have several lines. Texts from outside the program are
    // made visible by the caller (VisibleText).
    void Line(std::wstring_view text);

    // The members of the JSON document, written at once, so that a document of any length needs little memory. Each
    // name is added once. Without JSON nothing is written. Items are the elements of one array: BeginItems, then Item
    // any number of times; the next member ends the array.
    void Member(const std::wstring& name, const Value& value);
    void BeginItems(const std::wstring& name);
    void Item(const Value& item);

    // Ends the document with what failed and the exit code. Returns the exit code, or Failed when standard output could
    // not be written, or memory ran out.
    ExitCode End(ExitCode code) noexcept;

    // A line on standard error.
    void Message(std::wstring_view text);

    // A failure: one line on standard error, and with JSON a member of the document. `what` is a string id with "%1"
    // for `object`, a name from outside the program, and "%2" for `detail`.
    void Fail(UINT what, const std::wstring& object, Failure why, const std::wstring& detail = {});

    // The same for a failure that is part of an item already: the line only.
    void FailItem(UINT what, const std::wstring& object, Failure why, const std::wstring& detail = {});

    // The failure of the program itself when memory has run out. What can't be written is left out.
    void FailWithoutMemory() noexcept;

    // "n of m: name" on standard error when that is a console. It is removed before the next line.
    bool ShowsProgress() const noexcept { return error_.IsConsole(); }
    void Progress(std::size_t done, std::size_t all, const std::wstring& name);

  private:
    void WriteMember(const std::wstring& name, std::string_view value);
    void EndItems();
    bool EndFailures() noexcept;
    void ClearProgress();

    TextStream output_, error_;
    bool json_ = false;
    bool begun_ = false;    // the document
    bool inItems_ = false;  // an array of items is open,
    bool anyItem_ = false;  // and has an element
    std::size_t progressLength_ = 0;
    Value failures_;
};

// A failure in a JSON document: the code as hexadecimal text and as a number, and the system's or the provider's text.
Value FailureValue(Failure failure);

// The same for people, on one line.
std::wstring FailureText(Failure failure);

// `time` (UTC) as in ISO 8601, such as "2026-01-31T23:59:59Z"; null for an invalid time.
Value TimeValue(const FILETIME& time);
