#include "wizards/WizardCertificateOnContainer.h"

#include <utility>

#include "applet/services/MessageBoxes.h"
#include "applet/services/ProductLibrary.h"
#include "csp/CertificateInstallation.h"
#include "csp/ContainerCertificates.h"
#include "csp/CryptProvContext.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "wizards/CertificateDialogs.h"

namespace {

UINT MessageOf(ContainerProblem problem) {
    switch (problem) {
        case ContainerProblem::NoKeys: return IDS_NO_KEYS;
        case ContainerProblem::NoSignatureCertificate: return IDS_NO_SIGNATURE_CERTIFICATE;
        case ContainerProblem::NoExchangeCertificate: return IDS_NO_EXCHANGE_CERTIFICATE;
        case ContainerProblem::OtherSignatureKey: return IDS_OTHER_SIGNATURE_KEY;
        case ContainerProblem::OtherExchangeKey: return IDS_OTHER_EXCHANGE_KEY;
        case ContainerProblem::NoParameters: return IDS_NO_PARAMETERS;
        case ContainerProblem::NoLink: return IDS_LINK_FAILED;
        case ContainerProblem::NoCertificates: return IDS_NO_CERTIFICATES;
    }
    return 0;
}

}  // namespace

CWizPageCertificateOnContainerSelectContainer::CWizPageCertificateOnContainerSelectContainer(
    CertificateOnContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CERTIFICATES, .subtitle = IDS_SELECT_TO_VIEW}, state),
      state_(state) {}

bool CWizPageCertificateOnContainerSelectContainer::OnContainerSelected() {
    return AcquireSelectedContainer(state_.container, 0) && ReadCertificates();
}

bool CWizPageCertificateOnContainerSelectContainer::ReadCertificates() {
    const CWaitCursor wait;
    KeyCertificates read = ReadKeyCertificates(state_.container.Get(), state_.keySet, *this);
    state_.keys = {std::move(read.store), std::move(read.selected), read.both};
    if (!state_.keys.certificate) return false;
    if (ReadExtensionCertificates(state_.container.Get(), state_.chain)) return true;
    Report(ContainerProblem::NoParameters);
    return false;
}

void CWizPageCertificateOnContainerSelectContainer::Report(ContainerProblem problem) {
    MessageBoxFormat(MessageOf(problem), MB_ICONEXCLAMATION, ContainerName());
}

namespace {

// Sets the provider that verifications on this thread use.
using SetThreadDefaultCryptProv = BOOL(WINAPI*)(HCRYPTPROV provider);

Result<> InstallChain(HWND window, HCRYPTPROV container, KeySet keySet) {
    const ClientWindow client(window);
    const CWaitCursor wait;
    return InstallExtensionCertificates(container, keySet);
}

}  // namespace

CWizPageCertificateOnContainerSelectCertificate::CWizPageCertificateOnContainerSelectCertificate(
    CertificateOnContainerState& state)
    : CWizPageSelectCertificate({.caption = IDS_WIZARD_CERTIFICATES,
                                 .title = IDS_CERTIFICATE_TO_VIEW,
                                 .subtitle = IDS_SELECT_CERTIFICATE_TO_VIEW,
                                 .install = true},
                                state.keys),
      state_(state) {}

void CWizPageCertificateOnContainerSelectCertificate::UpdateWizardButtons() {
    SetWizardButtons(PSWIZB_BACK | (state_.keys.certificate ? PSWIZB_FINISH : PSWIZB_DISABLEDFINISH));
}

void CWizPageCertificateOnContainerSelectCertificate::ShowProperties() {
    const UniqueModule library(LoadProductLibrary(L"kvcrypt.dll"));
    const auto setDefault = reinterpret_cast<SetThreadDefaultCryptProv>(
        reinterpret_cast<void*>(library ? GetProcAddress(library.get(), "SetThreadDefaultCryptProv") : nullptr));
    ShowCertificate(m_hWnd, *state_.keys.certificate.get(), state_.chain.get());
    if (setDefault) setDefault(0);  // showing the certificate may have set a provider
}

void CWizPageCertificateOnContainerSelectCertificate::OnInstall() {
    if (!state_.keys.certificate) return;
    const Result<UniqueCertificateStore> store = OpenPersonalStore(state_.keySet);
    if (!store) {
        ErrorMessageBox(store.Failed().code);
        return;
    }
    if (!AddCertificate(store->get(), *state_.keys.certificate.get(), MB_ICONQUESTION)) return;
    const Result<> installed = InstallChain(m_hWnd, state_.container.Get(), state_.keySet);
    if (!installed) {
        ErrorMessageBox(installed.Failed().code);
        return;
    }
    MessageBoxId(state_.keySet == KeySet::Computer ? IDS_INSTALLED_FOR_COMPUTER : IDS_INSTALLED_FOR_USER,
                 MB_ICONINFORMATION);
}

CWizardCertificateOnContainer::CWizardCertificateOnContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CERTIFICATES) {
    AddPage(selectContainer_);
    AddPage(selectCertificate_);
}
