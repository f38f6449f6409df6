// The marks beside the rows of a container's check: failures and what is merely missing are found at a glance.
#pragma once

#include <windows.h>

#include <commctrl.h>

// The marks differ in shape, not only in colour. The numbers are those of the list view's state images.
enum class CheckMark : UINT { None, Succeeded, Failed, Note };

// The mark of a row, by the ids of its label and value (CheckTexts.h). `error`: the value is an error's text.
CheckMark MarkOf(UINT label, UINT value, bool error = false) noexcept;

// The marks' pictures as state images, in the size of small icons. The caller owns the list; nullptr on failure.
HIMAGELIST CreateMarks() noexcept;
