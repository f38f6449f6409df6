// What assistive technology is told about a window where it would find too little by itself. COM must be initialised on
// the thread; otherwise, and where the system has no such service, nothing changes.
#pragma once

#include <windows.h>

// `role`: ROLE_SYSTEM_….
void SetAccessibleRole(HWND window, LONG role) noexcept;

// Gives a name to each control of the dialog that takes the focus and would be spoken like another one or not at all:
// the heading above it, a colon, and its own text or that of its label. A field after a button takes the button's text
// and that of its unit. The heading is the text of the group box around
// the control, or else the last text that ends with a colon before it and is no field's label. Throws std::bad_alloc.
void NameControlsApart(HWND dialog);
