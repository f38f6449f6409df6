// What the pages of the wizard for the certificates in a container share.
#pragma once

#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "wizards/WizPageSelectCertificate.h"
#include "wizards/WizardState.h"

struct CertificateOnContainerState : WizardState {
    CCryptProvContext container;   // opened by the first page
    CertificateChoice keys;        // the certificates of the container's keys, linked with them
    UniqueCertificateStore chain;  // those in the container's extensions
};
