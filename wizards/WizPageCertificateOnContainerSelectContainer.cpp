#include "wizards/WizPageCertificateOnContainerSelectContainer.h"

#include <utility>

#include "applet/services/MessageBoxes.h"
#include "csp/ClientWindow.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"

namespace {

UINT TextOf(ContainerNotice notice) {
    switch (notice) {
        case ContainerNotice::NoKeys: return IDS_NO_KEYS;
        case ContainerNotice::NoSignatureCertificate: return IDS_NO_SIGNATURE_CERTIFICATE;
        case ContainerNotice::NoExchangeCertificate: return IDS_NO_EXCHANGE_CERTIFICATE;
        case ContainerNotice::OtherSignatureKey: return IDS_OTHER_SIGNATURE_KEY;
        case ContainerNotice::OtherExchangeKey: return IDS_OTHER_EXCHANGE_KEY;
        case ContainerNotice::NoParameters: return IDS_NO_PARAMETERS;
        case ContainerNotice::NoLink: return IDS_LINK_FAILED;
        case ContainerNotice::NoCertificates: return IDS_NO_CERTIFICATES;
    }
    return 0;
}

}  // namespace

CWizPageCertificateOnContainerSelectContainer::CWizPageCertificateOnContainerSelectContainer(
    CertificateOnContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CERTIFICATES, .subtitle = IDS_SELECT_TO_VIEW}, state),
      state_(state) {}

LRESULT CWizPageCertificateOnContainerSelectContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    const ClientWindow client(m_hWnd);
    return AcquireSelectedContainer(state_.container, 0) && ReadCertificates() ? 0 : -1;
}

bool CWizPageCertificateOnContainerSelectContainer::ReadCertificates() {
    const CWaitCursor wait;
    KeyCertificates read;
    const bool found = ReadKeyCertificates(state_.container.Get(), state_.keySet, read, *this);
    state_.keys = {std::move(read.store), std::move(read.selected), read.both};
    if (!found) return false;
    if (ReadExtensionCertificates(state_.container.Get(), state_.chain).done) return true;
    Tell(ContainerNotice::NoParameters);
    return false;
}

void CWizPageCertificateOnContainerSelectContainer::Tell(ContainerNotice notice) {
    MessageBoxFormat(TextOf(notice), MB_ICONEXCLAMATION, ContainerName());
}
