// The store that the certificate is installed into.
#pragma once

#include "wizards/InstallCertificateState.h"
#include "wizards/WizardPageBase.h"

class CWizPageInstallCertificateSelectStore : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateSelectStore(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnSetActive() override;
    LRESULT OnWizardNext() override;

  private:
    void OnBrowse();
    void Show(NamedStore store);

    InstallCertificateState& state_;
    std::wstring storeName_;
    int keySet_ = 0;  // position in the group of radio buttons
    int writeToContainer_ = BST_UNCHECKED;
};
