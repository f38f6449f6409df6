// The wizard for the certificates in a container: choose it, see and install them.
#pragma once

#include "csp/ContainerCertificates.h"
#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "wizards/WizPageSelectCertificate.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

// What the pages of the wizard for the certificates in a container share.

struct CertificateOnContainerState : WizardState {
    CCryptProvContext container;   // opened by the first page
    CertificateChoice keys;        // the certificates of the container's keys, linked with them
    UniqueCertificateStore chain;  // those in the container's extensions
};

// The container whose certificates are to be seen. They are read when the user goes on.

class CWizPageCertificateOnContainerSelectContainer : public CWizPageSelectContainer, private ContainerNotices {
  public:
    explicit CWizPageCertificateOnContainerSelectContainer(CertificateOnContainerState& state);

  protected:
    LRESULT OnWizardNext() override;

  private:
    void Tell(ContainerNotice notice) override;

    bool ReadCertificates();

    CertificateOnContainerState& state_;
};

// A certificate of the container, to look at and to install.

class CWizPageCertificateOnContainerSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageCertificateOnContainerSelectCertificate(CertificateOnContainerState& state);

  protected:
    void UpdateWizardButtons() override;
    void OnInstall() override;
    void ShowProperties() override;

  private:
    CertificateOnContainerState& state_;
};

class CWizardCertificateOnContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardCertificateOnContainer(HWND parent);

  private:
    CertificateOnContainerState state_;
    CWizPageCertificateOnContainerSelectContainer selectContainer_{state_};
    CWizPageCertificateOnContainerSelectCertificate selectCertificate_{state_};
};
