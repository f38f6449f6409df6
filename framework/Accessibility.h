// Names and roles of controls for assistive technology, where the ones that the system derives do not suffice. COM must
// be initialised on the thread. Without COM or the system's annotation service the functions do nothing.
#pragma once

#include <windows.h>

// `role`: ROLE_SYSTEM_….
void SetAccessibleRole(HWND window, LONG role) noexcept;

// Names each focusable control of the dialog whose name would be missing or the same as another control's. The name is
// a heading, a colon, and the control's own text or that of its label; for a field directly after a button, the
// button's text and the field's unit. The heading is the text of the group box around the control, or else the last
// preceding static text that labels no field. Throws std::bad_alloc.
void NameControlsApart(HWND dialog);
