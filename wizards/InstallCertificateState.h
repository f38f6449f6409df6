// What the pages of the wizard that installs a certificate from a file share.
#pragma once

#include <windows.h>

#include <string>

#include "csp/CryptProvContext.h"
#include "wizards/StoreDialog.h"
#include "wizards/WizPageSelectCertificate.h"
#include "wizards/WizardState.h"

struct InstallCertificateState : WizardState {
    std::wstring filePath;   // that `file` was opened on; empty: it wasn't
    CertificateChoice file;  // its store; the certificate to install
    CCryptProvContext container;
    std::wstring containerName;  // as the user knows it
    DWORD keySpec = 0;           // the key that is the certificate's; 0: none
    NamedStore target;
    bool writeToContainer = false;
};
