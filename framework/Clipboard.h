// The clipboard.
#pragma once

#include <windows.h>

#include <string_view>

// Replaces the clipboard's content by a text. False on failure.
bool CopyToClipboard(HWND owner, std::wstring_view text) noexcept;
