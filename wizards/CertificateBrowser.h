// The system's dialogs over certificates that a wizard has at hand.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "framework/Handles.h"

// Lets the user choose from a store. Nothing when the user cancels, or when the dialog can't be had.
UniqueCertificate BrowseCertificates(HWND owner, HCERTSTORE store);

// Shows a certificate, to look at only. `chain` may be none; authorities above the certificate are looked for there
// too.
void ShowCertificate(HWND owner, const CERT_CONTEXT& certificate, HCERTSTORE chain = nullptr);
