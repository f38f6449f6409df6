// Logon: each provider's default key reader, the product's support for Winlogon and for the KDC; on domain controllers
// also the controllers' identifiers and the certificate templates.
#pragma once

#include <optional>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "settings/DomainDirectory.h"
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

    void FillProviders();
    void OpenProvider(int item);
    void FillReaders();
    void SelectDefaultReader();
    void ShowReader(int item);
    std::wstring DefaultReaderPath() const;
    bool SaveReader() const;

    void FillControllers();
    DomainDirectory& Directory();
    bool TemplatesNeedRepair();

    void EnableControls();
    void DisableDefaultReader() noexcept;
    void ExplainDisabledControls();
    void EnableControl(UINT id, bool enable) noexcept;

    WinlogonState state_;
    int provider_ = -1;  // position in its list
    CCryptProvContext context_;
    std::vector<std::wstring> readerNames_;  // as settings name them; a list item's data is its reader's position here
    bool domainController_ = false;
    std::optional<DomainDirectory> directory_;   // on domain controllers, once it was asked
    std::vector<DomainController> controllers_;  // in the order of their list
    CComboBox providers_, readers_, controllerNames_;
    CWnd identifier_;
};
