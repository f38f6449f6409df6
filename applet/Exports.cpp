// The module's exports. They let no exception out and run in the module's own activation context.
#include <windows.h>

#include <cpl.h>

#include "applet/ControlPanelApp.h"
#include "framework/Module.h"
#include "wizards/WizardCertificateOnContainer.h"
#include "wizards/WizardChangePassword.h"
#include "wizards/WizardDeleteContainer.h"
#include "wizards/WizardInstallPrivateCertificate.h"

namespace {

// The result that means failure. These three messages return nonzero on success.
constexpr LONG FailureOf(UINT message) {
    return message == CPL_INIT || message == CPL_STARTWPARMSA || message == CPL_STARTWPARMSW ? 0 : 1;
}

CMyControlPanelApp& App() {
    static CMyControlPanelApp app;
    return app;
}

// The result is ignored: callers of the exports cannot receive one. Out of memory means no wizard.
template <class Wizard>
void RunWizard(HWND parent) noexcept {
    const ActivationScope context(Module::ActivationContext());
    try {
        Wizard wizard(parent);
        wizard.DoModal();
    } catch (...) {
    }
}

}  // namespace

extern "C" {

LONG APIENTRY CPlApplet(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2) noexcept {
    const ActivationScope context(Module::ActivationContext());
    try {
        return static_cast<LONG>(App().ControlPanelMessage(window, message, lParam1, lParam2));
    } catch (...) {
        return FailureOf(message);  // no such applet, or out of memory
    }
}

// Opened by other programs.
void APIENTRY WizChangePassword(HWND parent) noexcept {
    RunWizard<CWizardChangePassword>(parent);
}
void APIENTRY WizDeleteContainer(HWND parent) noexcept {
    RunWizard<CWizardDeleteContainer>(parent);
}
void APIENTRY WizInstallPrivateCertificate(HWND parent) noexcept {
    RunWizard<CWizardInstallPrivateCertificate>(parent);
}
void APIENTRY WizViewCertificateInContainer(HWND parent) noexcept {
    RunWizard<CWizardCertificateOnContainer>(parent);
}

}  // extern "C"
