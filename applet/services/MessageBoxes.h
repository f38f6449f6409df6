// The message boxes of the applet. Each returns the button pressed (ID…), and takes MessageBox's type flags.
#pragma once

#include <windows.h>

#include <string>

#include "applet/services/Strings.h"

int MessageBoxId(UINT id, UINT type);
int MessageBoxFormat(UINT id, UINT type, const Insert& insert1, const Insert& insert2 = {});
int ErrorMessageBox(DWORD code);

// Any text; `helpId` 0: no help context. The box's owner is the thread's active window, or else the frontmost window
// that the thread shows. A question whose string can't be loaded has no text, and counts as answered with No.
int MessageBoxText(const std::wstring& text, UINT type, UINT helpId = 0);
