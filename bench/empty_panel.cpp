// Panels of eight pages that do nothing, for comparison: with empty pages, the least that any panel has to do; with the
// panel's own templates (BARE_TEMPLATES), the least that this one has to do.
#include <windows.h>

#include <cpl.h>
#include <prsht.h>

#include <array>

#include "resources/resource.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace {

constexpr int kPages = 8;

#ifdef BARE_TEMPLATES
constexpr UINT kTemplates[kPages] = {IDD_GENERAL,    IDD_HARDWARE, IDD_SERVICE,  IDD_ADVANCED,
                                     IDD_ALGORITHMS, IDD_SECURITY, IDD_WINLOGON, IDD_TLS};

void Choose(PROPSHEETPAGEW& page, int number) {
    page.pszTemplate = MAKEINTRESOURCEW(kTemplates[number]);
}
#else
// A dialog template without controls, as large as the panel's own pages.
struct Template {
    DLGTEMPLATE header{WS_CHILD | DS_CONTROL, 0, 0, 0, 0, 366, 215};
    WORD menu = 0, windowClass = 0, title = 0;
};

void Choose(PROPSHEETPAGEW& page, int) {
    static constexpr Template empty;
    page.dwFlags = PSP_DLGINDIRECT | PSP_USETITLE;
    page.pResource = &empty.header;
    page.pszTitle = L"Empty";
}
#endif

INT_PTR CALLBACK PageProc(HWND, UINT message, WPARAM, LPARAM) {
    return message == WM_INITDIALOG;
}

void Show(HWND owner) {
    std::array<PROPSHEETPAGEW, kPages> pages{};
    for (int number = 0; number < kPages; ++number) {
        PROPSHEETPAGEW& page = pages[static_cast<size_t>(number)];
        page.dwSize = sizeof page;
        page.hInstance = reinterpret_cast<HINSTANCE>(&__ImageBase);
        page.pfnDlgProc = &PageProc;
        Choose(page, number);
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
