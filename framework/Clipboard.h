// The clipboard.
#pragma once

#include <windows.h>

#include <string_view>

// Puts a text in place of what the clipboard holds. False on failure.
bool CopyToClipboard(HWND owner, std::wstring_view text) noexcept;
