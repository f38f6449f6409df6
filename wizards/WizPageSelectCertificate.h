// CWizPageSelectCertificate, the wizard page that shows a certificate and lets the user choose among several.
#pragma once

#include <windows.h>

#include "framework/Handles.h"
#include "wizards/WizardBase.h"

// The certificate that the page shows, and the store that it was chosen from.
struct CertificateChoice {
    UniqueCertificateStore store;
    UniqueCertificate certificate;  // empty: none is chosen yet
    bool several = false;           // the user may choose another one
};

class CWizPageSelectCertificate : public CWizardPageBase {
  public:
    struct Options {
        UINT caption, title, subtitle;  // string ids
        bool install;                   // show the Install button; the derived page handles it
    };

    // `choice` belongs to the wizard and must outlive the page.
    CWizPageSelectCertificate(const Options& options, CertificateChoice& choice);

  protected:
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;

    // Called when a certificate has been chosen or shown.
    virtual void UpdateWizardButtons() = 0;
    virtual void OnInstall() {}

    // Shows the properties of the chosen certificate; called only if there is one.
    virtual void ShowProperties();

  private:
    void OnBrowse();
    void OnProperties();

    void ShowChosen();

    Options options_;
    CertificateChoice& choice_;
};
