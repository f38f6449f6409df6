#include "framework/FileDialog.h"

#include <commdlg.h>

#include <algorithm>

#include "framework/SystemLibrary.h"

INT_PTR CFileDialog::DoModal(HWND owner) {
    const SystemLibrary library(L"comdlg32.dll", SystemLibrary::Stays::ForGood);
    const auto show =
        library.Function<decltype(&GetOpenFileNameW)>(kind_ == Kind::Open ? "GetOpenFileNameW" : "GetSaveFileNameW");
    if (!show) return IDCANCEL;

    std::wstring filter = filter_;
    std::replace(filter.begin(), filter.end(), L'|', L'\0');
    std::wstring file(32768, L'\0');  // the longest path there is, terminator included

    OPENFILENAMEW request{};
    request.lStructSize = sizeof request;
    request.hwndOwner = owner;
    request.lpstrFilter = filter.c_str();
    request.lpstrFile = file.data();
    request.nMaxFile = static_cast<DWORD>(file.size());
    const DWORD existing = kind_ == Kind::Open ? OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST : OFN_PATHMUSTEXIST;
    request.Flags = OFN_EXPLORER | (flags_ ? flags_ : OFN_HIDEREADONLY | OFN_NOCHANGEDIR | existing);
    if (!show(&request)) return IDCANCEL;
    file.resize(file.find(L'\0'));
    path_ = std::move(file);
    return IDOK;
}
