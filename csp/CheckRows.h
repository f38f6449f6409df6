// The rows of a check as texts in the user's language, each with a mark. The panel and vestractl show the same rows.
#pragma once

#include <windows.h>

#include <string>

#include "csp/ContainerCheck.h"

// The marks differ in shape, not only in colour. The numbers are those of the list view's state images.
enum class CheckMark : UINT { None, Succeeded, Failed, Note };

// The mark of a row, by the string ids of its label and value. `error`: the value is the text of an error code.
CheckMark MarkOf(UINT label, UINT value, bool error = false) noexcept;

struct CheckRow {
    CheckMark mark;
    UINT id;  // of the label; 0 for a row that continues the one before
    std::wstring label;
    std::wstring value;  // may be empty
    DWORD error = 0;     // its text is the value; 0: none
};

// Translates what a check reports.
class CheckRows : public CheckReport {
  public:
    void Row(UINT label, UINT value) override;
    void Row(UINT label, std::wstring_view value) override;
    void Failure(UINT label, DWORD error) override;
    void Continuation(std::wstring_view value) override;
    void Continuation(UINT value) override;
    void Verdict(UINT label, UINT value) override;

  protected:
    enum class Place { Top, End };
    virtual void Insert(Place place, CheckRow row) = 0;

    ~CheckRows() = default;
};
