// What controls of a dialog template are, which keys they take, and whether their texts fit.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <string>

#include "tests/support/DialogTemplate.h"

inline bool Is(const DialogControl& control, const wchar_t* className) {
    return lstrcmpiW(control.className.c_str(), className) == 0;
}
inline bool IsLabel(const DialogControl& control) {
    return Is(control, WC_STATICW) && (control.style & SS_TYPEMASK) == SS_LEFT;
}
inline bool IsFrame(const DialogControl& control) {
    return Is(control, WC_BUTTONW) && (control.style & BS_TYPEMASK) == BS_GROUPBOX;
}

// The letter after the ampersand, in upper case; 0 when there is none.
inline wchar_t AccessKey(const DialogControl& control) {
    if (Is(control, WC_STATICW) && (control.style & SS_NOPREFIX) != 0) return L'\0';
    std::wstring text = control.text;
    CharUpperW(text.data());
    std::size_t at = text.find(L'&');
    while (at != text.npos && text[at + 1] == L'&') at = text.find(L'&', at + 2);
    return at == text.npos ? L'\0' : text[at + 1];
}

// Whether a text fits at a resolution, with a tenth more than it needs, since fonts differ between systems. `dialog`
// has the dialog's font selected, which dialog units are derived from, and `own` the control's.
inline bool Fits(const DialogControl& control, HDC dialog, HDC own, int dpi) {
    TEXTMETRICW metric{};
    GetTextMetricsW(dialog, &metric);
    SIZE alphabet{};
    GetTextExtentPoint32W(dialog, L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz", 52, &alphabet);
    const int baseX = (alphabet.cx / 26 + 1) / 2;  // four horizontal dialog units
    const bool label = IsLabel(control), plain = (control.style & BS_TYPEMASK) <= BS_DEFPUSHBUTTON;
    // Not the text's: a button's edges; a box with its gap, or a frame's corners.
    const int decoration = label ? 0 : MulDiv(plain ? 10 : 18, dpi, 96);
    const LONG width = (MulDiv(control.cx, baseX, 4) - decoration) * 10 / 11;
    const bool wraps = label ? control.cy >= 16 : (control.style & BS_MULTILINE) != 0;
    UINT flags = DT_CALCRECT | (wraps ? DT_WORDBREAK : DT_SINGLELINE);
    if (label && (control.style & SS_NOPREFIX) != 0) flags |= DT_NOPREFIX;
    RECT need{0, 0, width, 0};
    DrawTextW(own, control.text.c_str(), -1, &need, flags);
    return need.right <= width && need.bottom <= MulDiv(control.cy, metric.tmHeight, 8);
}
