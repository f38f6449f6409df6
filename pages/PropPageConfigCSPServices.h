// The wizards for private key containers, and saved passwords.
#pragma once

#include "pages/PropPageConfigPending.h"
#include "resources/resource.h"

class CPropPageConfigCSPServices : public CPropPageConfigPending {
  public:
    CPropPageConfigCSPServices() : CPropPageConfigPending(IDD_SERVICE) {}
};
