// The certificate stores that a certificate can be installed into, and their names.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <string>

#include "csp/KeySet.h"
#include "framework/Handles.h"

struct NamedStore {
    UniqueCertificateStore store;  // none: it can't be opened or named, or the user chose none
    std::wstring name;             // as people know it; empty without a store
};

// The personal store of the user or the computer.
NamedStore PersonalStore(KeySet keySet);

// Lets the user choose one of the stores of the user or the computer.
NamedStore ChooseStore(HWND owner, KeySet keySet);
