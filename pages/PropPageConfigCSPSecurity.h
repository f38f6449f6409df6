// Default providers, key storage, caching.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigCSPSecurity : public CPropPageConfigPending {
  public:
    CPropPageConfigCSPSecurity() : CPropPageConfigPending(IDD_SECURITY) {}
};
