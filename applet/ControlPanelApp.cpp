#include "applet/ControlPanelApp.h"

#include <objbase.h>

#include "applet/PropSheetConfigCSP.h"
#include "applet/services/SupportLibrary.h"
#include "resources/resource.h"

bool CControlPanelApp::InitApplets() {
    return !applets_.empty();
}

CCPApplet& CControlPanelApp::AppletAt(LPARAM position) const {
    if (position < 0 || static_cast<size_t>(position) >= applets_.size()) throw CNotSupportedException();
    return *applets_[static_cast<size_t>(position)];
}

LRESULT CControlPanelApp::ControlPanelMessage(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2) {
    switch (message) {
        case CPL_INIT: return InitApplets();
        case CPL_GETCOUNT: return static_cast<LRESULT>(applets_.size());
        case CPL_EXIT: return ExitApplets();
        default: break;
    }
    CCPApplet& applet = AppletAt(lParam1);
    switch (message) {
        case CPL_INQUIRE: applet.OnInquire(*reinterpret_cast<CPLINFO*>(lParam2)); return 0;
        case CPL_SELECT: return applet.OnSelect();
        case CPL_DBLCLK: return applet.OnDblclk(window, nullptr) ? 0 : 1;
        case CPL_STOP: return applet.OnStop();
        case CPL_NEWINQUIRE: return applet.OnNewInquire(*reinterpret_cast<NEWCPLINFOW*>(lParam2));
        case CPL_STARTWPARMSA: return applet.OnDblclk(window, reinterpret_cast<const char*>(lParam2)) ? 1 : 0;
        case CPL_STARTWPARMSW: return 0;  // not handled: the shell then sends CPL_STARTWPARMSA or CPL_DBLCLK
        default: return 1;
    }
}

bool CMyControlPanelApp::InitApplets() {
    // Neither failure is fatal: the host may have initialised COM with another threading model, and without the support
    // library the panel shows default values.
    initialisations_.reserve(initialisations_.size() + 1);  // so that push_back cannot fail after the calls
    initialisations_.push_back({SUCCEEDED(CoInitialize(nullptr)), LoadSupportLibrary() == 0});
    if (applets_.empty()) {
        applets_.push_back(std::make_unique<CCPApplet>([]() -> CWnd* { return new CPropSheetConfigCSP; }, IDI_PRODUCT,
                                                       IDS_APPLET_NAME, IDS_APPLET_INFO, true));
    }
    return CControlPanelApp::InitApplets();
}

LRESULT CMyControlPanelApp::ExitApplets() {
    if (initialisations_.empty()) return 0;
    const Initialisation ended = initialisations_.back();
    initialisations_.pop_back();
    support_wnd_language_done();
    if (ended.library) ReleaseSupportLibrary();
    if (ended.com) CoUninitialize();
    if (initialisations_.empty()) applets_.clear();
    return CControlPanelApp::ExitApplets();
}
