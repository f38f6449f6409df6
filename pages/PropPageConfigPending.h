// A settings page that only shows its template for now: every control is disabled.
#pragma once

#include "applet/services/PropPageConfigBase.h"

class CPropPageConfigPending : public CPropPageConfigBase {
  public:
    using CPropPageConfigBase::CPropPageConfigBase;

  protected:
    bool OnInitDialog() override;
};
