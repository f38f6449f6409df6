// Algorithm parameters of the providers.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigCSPOID : public CPropPageConfigPending {
  public:
    CPropPageConfigCSPOID() : CPropPageConfigPending(IDD_ALGORITHMS) {}
};
