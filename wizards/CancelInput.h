// What a user may do while a property sheet is busy on its own thread.
#pragma once

#include <windows.h>

// Takes the input that waits for the sheet. Presses of its Cancel and Close buttons reach it, and so its page as
// PSN_QUERYCANCEL, before this returns; any other input is dropped, since it was meant for what the sheet showed
// before. True when the user pressed Esc, or the thread is to end.
bool TakeCancelInput(HWND sheet);
