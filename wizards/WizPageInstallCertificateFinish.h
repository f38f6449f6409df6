// What is going to be done, and the installation itself.
#pragma once

#include <string>

#include "framework/Handles.h"
#include "framework/ListCtrl.h"
#include "wizards/InstallCertificateState.h"
#include "wizards/WizardPageBase.h"

class CWizPageInstallCertificateFinish : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateFinish(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    bool OnWizardFinish() override;

  private:
    void ShowSummary();
    void ShowCertificateRows(const CERT_CONTEXT& certificate);
    void AddRow(UINT setting, const std::wstring& value = {});
    bool Link();

    InstallCertificateState& state_;
    UniqueFont titleFont_;
    CListCtrl summary_;
};
