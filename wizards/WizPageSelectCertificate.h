// CWizPageSelectCertificate: the page that shows a certificate, and lets the user choose it when there are several.
#pragma once

#include <windows.h>

#include "framework/Handles.h"
#include "wizards/WizardBase.h"

// What is shown, and what can be.
struct CertificateChoice {
    UniqueCertificateStore store;
    UniqueCertificate certificate;  // none: none is chosen yet
    bool several = false;           // the user may choose another
};

class CWizPageSelectCertificate : public CWizardPageBase {
  public:
    struct Options {
        UINT caption, title, subtitle;  // string ids
        bool install;                   // shows the Install button, whose handler is the derived page's
    };

    // `choice` is the wizard's and must outlive the page.
    CWizPageSelectCertificate(const Options& options, CertificateChoice& choice);

  protected:
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;

    // By whether a certificate is chosen.
    virtual void UpdateWizardButtons() = 0;
    virtual void OnInstall() {}

    // Shows the chosen certificate; there is one.
    virtual void ShowProperties();

  private:
    void OnBrowse();
    void OnProperties();

    void ShowChosen();

    Options options_;
    CertificateChoice& choice_;
};
