// The system's dialog in which the user chooses a certificate, for certificates with the product's keys.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// Lets the user choose from the "My" store of the current user, and of the local machine too when `machineToo`. Stores
// that can't be opened are left out. Nothing when the user cancels, or when the dialog can't be had.
UniqueCertificate ChooseCertificate(HWND owner, bool machineToo);
