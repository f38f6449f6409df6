// The search of the system's certificate stores.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <functional>
#include <string>

#include "csp/KeySet.h"
#include "csp/Outcome.h"

// Takes each certificate that was found with the name of its store. The certificate holds for the call only.
using CertificateVisitor = std::function<void(const std::wstring& store, const CERT_CONTEXT& certificate)>;

// Goes through all system stores of the current user or the computer in the system's order and gives every certificate
// of this public key. A store that can't be opened is passed over. The outcome is the listing's of the stores.
Outcome FindCertificates(KeySet keySet, CERT_PUBLIC_KEY_INFO& key, const CertificateVisitor& visit);
