// Switches and limits of TLS.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigTLS : public CPropPageConfigPending {
  public:
    CPropPageConfigTLS() : CPropPageConfigPending(IDD_TLS) {}
};
