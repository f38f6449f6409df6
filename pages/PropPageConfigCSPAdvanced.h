// File versions and the timeouts of user input.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigCSPAdvanced : public CPropPageConfigPending {
  public:
    CPropPageConfigCSPAdvanced() : CPropPageConfigPending(IDD_ADVANCED) {}
};
