#include "wizards/WizPageCertificateOnContainerSelectCertificate.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/ProductLibrary.h"
#include "csp/CertificateInstallation.h"
#include "csp/ClientWindow.h"
#include "csp/ContainerCertificates.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"
#include "wizards/CertificateAdding.h"
#include "wizards/CertificateBrowser.h"

namespace {

// What the thread's verifications were told to use while the certificate was shown is taken back.
using SetThreadDefaultCryptProv = BOOL(WINAPI*)(HCRYPTPROV provider);

Outcome InstallChain(HWND window, HCRYPTPROV container, KeySet keySet) {
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
    if (setDefault) setDefault(0);
}

void CWizPageCertificateOnContainerSelectCertificate::OnInstall() {
    if (!state_.keys.certificate) return;
    const UniqueCertificateStore store(OpenPersonalStore(state_.keySet));
    if (!store) {
        ErrorMessageBox(GetLastError());
        return;
    }
    if (!AddCertificate(store.get(), *state_.keys.certificate.get(), MB_ICONQUESTION)) return;
    const Outcome chain = InstallChain(m_hWnd, state_.container.Get(), state_.keySet);
    if (!chain.done) {
        ErrorMessageBox(chain.error);
        return;
    }
    MessageBoxId(state_.keySet == KeySet::Computer ? IDS_INSTALLED_FOR_COMPUTER : IDS_INSTALLED_FOR_USER,
                 MB_ICONINFORMATION);
}
