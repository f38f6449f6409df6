// Default reader at logon, domain controllers.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigWLReaders : public CPropPageConfigPending {
  public:
    CPropPageConfigWLReaders() : CPropPageConfigPending(IDD_WINLOGON) {}
};
