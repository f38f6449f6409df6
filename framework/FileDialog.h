// CFileDialog: the system's Open and Save As dialogs.
#pragma once

#include <windows.h>

#include <string>

class CFileDialog {
  public:
    enum class Kind { Open, Save };

    // `filter`: pairs of name and pattern, each ended by "|", one more "|" at the end ("All Files (*.*)|*.*||").
    // `flags` (OFN_…) 0: the default flags of that kind.
    CFileDialog(Kind kind, std::wstring filter, DWORD flags = 0)
        : kind_(kind), filter_(std::move(filter)), flags_(flags) {}

    // IDOK or IDCANCEL; IDCANCEL also when the dialog could not be shown.
    INT_PTR DoModal(HWND owner);

    // The chosen file's full path; empty before IDOK.
    const std::wstring& GetPathName() const noexcept { return path_; }

  private:
    Kind kind_;
    std::wstring filter_;
    DWORD flags_;
    std::wstring path_;
};
