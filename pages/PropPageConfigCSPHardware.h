// Key readers, random number generators, key carrier types.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigCSPHardware : public CPropPageConfigPending {
  public:
    CPropPageConfigCSPHardware() : CPropPageConfigPending(IDD_HARDWARE) {}
};
