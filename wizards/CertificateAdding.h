// The place of a certificate in a store, with what the user is asked and told of it.
#pragma once

#include <windows.h>

#include <wincrypt.h>

// Adds the certificate with its link to the private key. `questionIcon` (MB_ICON…) goes with the question whether one
// that is there already is to be replaced. False when it wasn't added; the user has been told.
bool AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, UINT questionIcon);
