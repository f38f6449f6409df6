// How the product's TLS behaves, on the client's and the server's side: switches and limits.
#pragma once

#include <array>

#include "applet/services/PropPageConfigBase.h"
#include "framework/Controls.h"

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
    void ReadSettings();
    void DisableWhatMayNotChange();
    void SetUpLimits();
    bool SaveSwitches(bool& saved) const;
    bool SaveLimits() const;

    static constexpr size_t kLimitCount = 2;
    std::array<int, kLimitCount> limits_{};  // valid ones always, in the order of the page's table
    std::array<CSpinButtonCtrl, kLimitCount> spins_;
    bool mayWrite_ = false;
    bool ownChange_ = false;  // the page itself is changing the controls
};
