// Key readers, random number generators, key carrier types: the windows of the product's own libraries. The page
// stores nothing.
#pragma once

#include "applet/services/PropPageConfigBase.h"

class CPropPageConfigCSPHardware : public CPropPageConfigBase {
  public:
    CPropPageConfigCSPHardware();

  protected:
    std::span<const Route> Routes() const override;

  private:
    void OnReaders();
    void OnCarriers();
    void OnRandom();
};
