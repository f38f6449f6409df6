// How the product's TLS behaves, on the client's and the server's side: switches and limits.
#pragma once

#include <array>

#include "applet/services/PropPageConfigBase.h"
#include "framework/Controls.h"
#include "settings/TlsSettings.h"

class CPropPageConfigTLS : public CPropPageConfigBase {
  public:
    CPropPageConfigTLS();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool IsPageModified() override;
    SaveResult SavePage() override;
    void OnControlChanged() override;

  private:
    void DisableControls();
    void SetUpSpins();

    TlsSettings settings_;
    std::array<CSpinButtonCtrl, std::size(kTlsLimits)> spins_;
};
