// Initialisation data of dialog templates (resource type 240): what resource editors store for lists and combo boxes.
#pragma once

#include <windows.h>

#include <span>

constexpr UINT kDialogType = 5;  // RT_DIALOG as a number
constexpr UINT kDialogInitType = 240;

// Sends each entry of `data` to its control. Entries: control id (16 bits), message (16 bits), length in bytes
// (32 bits), text in the ANSI code page with its terminator; a control id of 0 ends the list. Stops at the first entry
// that doesn't fit into the data or that the control refuses; false then.
bool ApplyDialogInit(HWND dialog, std::span<const BYTE> data) noexcept;
