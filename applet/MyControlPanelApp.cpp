#include "applet/MyControlPanelApp.h"

#include <objbase.h>

#include "applet/PropSheetConfigCSP.h"
#include "applet/services/SupportLibrary.h"
#include "resources/resource.h"

bool CMyControlPanelApp::InitApplets() {
    // A host with another threading model keeps its own; without the library the panel shows defaults.
    initialisations_.reserve(initialisations_.size() + 1);  // what is taken now is noted for certain
    initialisations_.push_back({SUCCEEDED(CoInitialize(nullptr)), LoadSupportLibrary() == 0});
    if (applets_.empty()) {
        applets_.push_back(std::make_unique<CCPApplet>([]() -> CWnd* { return new CPropSheetConfigCSP; }, IDI_PRODUCT,
                                                       IDS_APPLET_NAME, IDS_APPLET_INFO, true));
    }
    return CControlPanelApp::InitApplets();
}

LRESULT CMyControlPanelApp::ExitApplets() {
    if (initialisations_.empty()) return 0;
    const Taken taken = initialisations_.back();
    initialisations_.pop_back();
    support_wnd_language_done();
    if (taken.library) ReleaseSupportLibrary();
    if (taken.com) CoUninitialize();
    if (initialisations_.empty()) applets_.clear();
    return CControlPanelApp::ExitApplets();
}
