// The wizard for the certificates in a container. Its pages: select the container; view and install its certificates.
#pragma once

#include "csp/ContainerCertificates.h"
#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "wizards/WizPageSelectCertificate.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct CertificateOnContainerState : WizardState {
    CCryptProvContext container;   // opened by the first page
    CertificateChoice keys;        // the certificates of the container's keys, each with a link to its key
    UniqueCertificateStore chain;  // the certificates in the container's extensions
};

// Selects the container. Next opens it and reads its certificates.
class CWizPageCertificateOnContainerSelectContainer : public CWizPageSelectContainer, private ContainerProblems {
  public:
    explicit CWizPageCertificateOnContainerSelectContainer(CertificateOnContainerState& state);

  protected:
    bool OnContainerSelected() override;

  private:
    void Report(ContainerProblem problem) override;

    bool ReadCertificates();

    CertificateOnContainerState& state_;
};

// Shows a certificate of the container and installs it.
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
