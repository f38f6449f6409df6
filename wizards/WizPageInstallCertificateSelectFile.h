// The file that the certificate comes from.
#pragma once

#include <string>

#include "wizards/InstallCertificateState.h"
#include "wizards/WizardPageBase.h"

class CWizPageInstallCertificateSelectFile : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateSelectFile(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnSetActive() override;
    LRESULT OnWizardNext() override;

  private:
    void OnBrowse();
    void UpdateWizardButtons();
    bool OpenFile();

    InstallCertificateState& state_;
    std::wstring path_;
};
