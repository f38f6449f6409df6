// The text on the clipboard; empty when there is none.
#pragma once

#include <windows.h>

#include <string>

inline std::wstring ClipboardText() {
    if (!OpenClipboard(nullptr)) return {};
    const HANDLE memory = GetClipboardData(CF_UNICODETEXT);
    const std::wstring text = memory ? static_cast<const wchar_t*>(GlobalLock(memory)) : L"";
    if (memory) GlobalUnlock(memory);
    CloseClipboard();
    return text;
}
