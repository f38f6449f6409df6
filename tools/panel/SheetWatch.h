// Finds and watches the property sheet that another program shows.
#pragma once

#include <windows.h>

namespace SheetWatch {

// The visible property sheet of the process, or of any when `process` is 0; nullptr when there is none.
HWND Find(DWORD process = 0);

// Whether nothing in the sheet waits to be painted.
bool IsPainted(HWND sheet);

}  // namespace SheetWatch
