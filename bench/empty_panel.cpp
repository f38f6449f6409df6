// A panel of eight empty pages, for comparison: the least that any eight-page panel has to do.
#include <windows.h>

#include <cpl.h>
#include <prsht.h>

#include <array>

namespace {

constexpr int kPages = 8;

// A dialog template without controls, as large as the panel's own pages.
struct Template {
    DLGTEMPLATE header{WS_CHILD | DS_CONTROL, 0, 0, 0, 0, 264, 246};
    WORD menu = 0, windowClass = 0, title = 0;
};

INT_PTR CALLBACK PageProc(HWND, UINT message, WPARAM, LPARAM) {
    return message == WM_INITDIALOG;
}

void Show(HWND owner) {
    static const Template pageTemplate;
    std::array<PROPSHEETPAGEW, kPages> pages{};
    for (PROPSHEETPAGEW& page : pages) {
        page.dwSize = sizeof page;
        page.dwFlags = PSP_DLGINDIRECT | PSP_USETITLE;
        page.pResource = &pageTemplate.header;
        page.pszTitle = L"Empty";
        page.pfnDlgProc = &PageProc;
    }
    PROPSHEETHEADERW header{};
    header.dwSize = sizeof header;
    header.dwFlags = PSH_PROPSHEETPAGE;
    header.hwndParent = owner;
    header.pszCaption = L"Empty";
    header.nPages = kPages;
    header.ppsp = pages.data();
    PropertySheetW(&header);
}

}  // namespace

extern "C" LONG APIENTRY CPlApplet(HWND window, UINT message, LPARAM, LPARAM data) noexcept {
    switch (message) {
        case CPL_INIT:
        case CPL_GETCOUNT: return 1;
        case CPL_INQUIRE: *reinterpret_cast<CPLINFO*>(data) = {140, 104, 105, 0}; return 0;
        case CPL_DBLCLK: Show(window); return 0;
        default: return 0;
    }
}
