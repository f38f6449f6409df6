// What the module exports. Nothing is thrown out of here, and everything runs in the module's own activation context.
#include <windows.h>

#include <cpl.h>

#include "applet/MyControlPanelApp.h"
#include "applet/services/ProcessCaches.h"
#include "framework/ActivationContext.h"

namespace {

constexpr LRESULT kNotHandled = 1;

CMyControlPanelApp& App() {
    static CMyControlPanelApp app;
    return app;
}

}  // namespace

extern "C" {

LONG APIENTRY CPlApplet(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2) noexcept {
    const ActivationScope context(Caches().ModuleContext());
    try {
        return static_cast<LONG>(App().ControlPanelMessage(window, message, lParam1, lParam2));
    } catch (...) {
        return kNotHandled;  // no such applet, or out of memory
    }
}

// The wizards that other programs open. They come with the wizards themselves; until then they show nothing.
void APIENTRY WizChangePassword(HWND) noexcept {}
void APIENTRY WizDeleteContainer(HWND) noexcept {}
void APIENTRY WizInstallPrivateCertificate(HWND) noexcept {}
void APIENTRY WizViewCertificateInContainer(HWND) noexcept {}

}  // extern "C"
