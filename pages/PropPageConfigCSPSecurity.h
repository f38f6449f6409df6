// Default providers of their types, where a provider keeps its keys, the key cache, Diffie-Hellman control, removable
// media.
#pragma once

#include <string>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "settings/SecuritySettings.h"

class CPropPageConfigCSPSecurity : public CPropPageConfigBase, private RestartQuestion {
  public:
    CPropPageConfigCSPSecurity();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    bool IsPageModified() override;
    SaveResult SavePage() override;
    void OnControlChanged() override;

  private:
    std::optional<bool> OfferRestart() override;

    void OnModeClicked(const Message& message);
    void OnProviderSelected();
    void OnCacheSizeLeft();

    void SetUpControls();
    void ShowProviders(const std::vector<Provider>& installed);
    void ShowDefaults(const std::vector<Provider>& installed);
    void ShowDefaultsOfType(DWORD type, UINT label, CComboBox& box, const std::vector<std::wstring>& names);
    void OpenProvider();
    void ShowCacheRange();
    void EnableControls();
    void PlaceModeTabStop();
    void ShowValues();

    SecuritySettings settings_;
    std::vector<Provider> providers_;                    // that can be configured
    std::vector<std::wstring> defaults75_, defaults71_;  // installed providers of the types
    int provider_ = -1;                                  // position in `providers_`
    CComboBox providerBox_, default75Box_, default71Box_;
    CSpinButtonCtrl cacheSpin_;
};
