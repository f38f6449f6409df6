// Default providers of their types, where a provider keeps its keys, the key cache, Diffie-Hellman control, removable
// media.
#pragma once

#include <string>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "settings/SecuritySettings.h"

class CPropPageConfigCSPSecurity : public CPropPageConfigBase, private SecurityStores {
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
    struct Provider {
        std::wstring name;
        DWORD type;
    };

    bool HasProvider() const override { return static_cast<bool>(context_); }
    bool SetCache(DWORD size) override;
    bool SetDiffieHellman(DiffieHellmanControl control) override;
    bool WriteDefault(DWORD providerType, int selection) override;
    LONG WriteMode(int mode) override;
    std::optional<bool> OfferRestart() override;
    bool WriteSaveMedia(bool save) override;

    void OnModeClicked(const Message& message);
    void OnProviderSelected();
    void OnCacheSizeLeft();

    void Start();
    void FillProviders();
    void LoadSaveMedia();
    void LoadDefaults();
    int FillDefaults(CComboBox& box, DWORD type, const std::vector<Provider>& installed);
    void OpenProvider();
    void ReadCache();
    void ReadDiffieHellman();
    SecurityRights ReadRights() const;
    void EnableControls();
    void PlaceModeTabStop();
    void ShowValues();

    SecurityState state_;
    int provider_ = -1;  // position in the list of providers to configure
    CCryptProvContext context_;
    CComboBox providers_, defaults75_, defaults71_;
    bool showing_ = false;  // the page itself is setting its controls
};
