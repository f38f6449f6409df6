// Logon: each provider's default key reader, the product's support for Winlogon and for the KDC; on domain controllers
// also the controllers' identifiers and the certificate templates.
#pragma once

#include <string>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "pages/DomainControllerGroup.h"
#include "settings/WinlogonSettings.h"

class CPropPageConfigWLReaders : public CPropPageConfigBase {
  public:
    CPropPageConfigWLReaders();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    void OnFirstShown() override;
    bool IsPageModified() override;
    SaveResult SavePage() override;
    void OnControlChanged() override;

  private:
    void OnProviderSelected();
    void OnReaderSelected();
    void OnControllerSelected();
    void OnExport();
    void OnFixTemplates();

    void ShowProviders();
    void OpenProvider(const Provider& provider);
    void ShowReaders();
    void ShowDefaultReader();
    std::wstring ProviderName() const;

    void EnableControls();
    void DisableDefaultReader() noexcept;
    void DisableIdentifiers() noexcept;
    void ExplainDisabledControls();

    WinlogonSettings settings_;
    std::vector<Provider> providers_;  // in the order of their list
    int provider_ = -1;                // position in `providers_`
    CCryptProvContext context_;
    DomainControllerGroup controllers_;
    CComboBox providerBox_, readerBox_;
};
