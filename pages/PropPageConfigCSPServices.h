// The wizards for private key containers, and saved passwords. The page stores nothing.
#pragma once

#include "applet/services/PropPageConfigBase.h"

class CPropPageConfigCSPServices : public CPropPageConfigBase {
  public:
    CPropPageConfigCSPServices();

  protected:
    std::span<const Route> Routes() const override;

  private:
    // Runs a wizard over the page. Its result is ignored.
    template <class Wizard>
    void Run();

    void OnDeletePasswords();
};
