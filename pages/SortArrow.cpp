#include "pages/SortArrow.h"

#include <shlwapi.h>

#include "framework/LibraryLoading.h"

namespace {

constexpr DWORD kFirstWithArrows = 6;  // the common controls that draw arrows themselves

// Major version of the common controls in use here; 0 when they don't tell.
DWORD ControlsVersion() noexcept {
    const HMODULE library = GetModuleHandleW(L"comctl32.dll");
    const auto get =
        library ? reinterpret_cast<DLLGETVERSIONPROC>(reinterpret_cast<void*>(GetProcAddress(library, "DllGetVersion")))
                : nullptr;
    DLLVERSIONINFO version{};
    version.cbSize = sizeof version;
    return get && SUCCEEDED(get(&version)) ? version.dwMajorVersion : 0;
}

HBITMAP LoadArrow(const UniqueModule& shell, WORD id) noexcept {
    if (!shell) return nullptr;
    return static_cast<HBITMAP>(LoadImageW(shell.get(), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
}

void SetItem(HWND header, int column, HDITEMW& item) noexcept {
    SendMessageW(header, HDM_SETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&item));
}

}  // namespace

void SortArrow::Attach(HWND header) noexcept {
    header_ = header;
    column_ = -1;
    if (ControlsVersion() >= kFirstWithArrows) return;
    // The shell's own arrows.
    constexpr WORD kUp = 133, kDown = 134;
    const UniqueModule shell(LoadSystemLibrary(L"shell32.dll"));
    up_.reset(LoadArrow(shell, kUp));
    down_.reset(LoadArrow(shell, kDown));
}

void SortArrow::Show(int column, bool descending) noexcept {
    if (column_ >= 0) SetItem(header_, column_, before_);
    column_ = column;
    before_ = {};
    before_.mask = HDI_FORMAT | HDI_BITMAP;
    SendMessageW(header_, HDM_GETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&before_));
    HDITEMW item = before_;
    if (const UniqueBitmap& arrow = descending ? down_ : up_) {
        item.fmt |= HDF_BITMAP | HDF_BITMAP_ON_RIGHT;
        item.hbm = arrow.get();
    } else {
        item.fmt |= descending ? HDF_SORTDOWN : HDF_SORTUP;
    }
    SetItem(header_, column, item);
}
