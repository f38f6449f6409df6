// The container with the certificate's private key: named by the user, or found by the page.
#pragma once

#include "csp/ContainerSearch.h"
#include "wizards/InstallCertificateState.h"
#include "wizards/WizPageSelectContainer.h"

class CWizPageInstallCertificateSelectContainer : public CWizPageSelectContainer, private SearchProgress {
  public:
    explicit CWizPageInstallCertificateSelectContainer(InstallCertificateState& state);

  protected:
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    LRESULT OnWizardNext() override;
    LRESULT OnWizardBack() override;

  private:
    bool Searching(const std::wstring& provider, const std::wstring& container) override;

    void OnAutomatically();
    SearchResult Search();
    void SearchAndShow();
    void ChooseByHand();

    InstallCertificateState& state_;
    ULONGLONG shownAt_ = 0;  // when the progress was shown last, in milliseconds of the system's time
};
