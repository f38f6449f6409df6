#include "applet/ControlPanelApp.h"

#include <objbase.h>

#include <cstdlib>
#include <tuple>

#include "applet/PropSheetConfigCSP.h"
#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Dialog.h"
#include "framework/Module.h"
#include "framework/Text.h"
#include "resources/resource.h"

namespace {

// The number of the page in the shell's parameter string; 0, the first page, when there is no number.
UINT StartPage(const char* parameters) {
    const long page = parameters ? std::strtol(parameters, nullptr, 10) : 0;  // LONG_MAX when the number is too large
    return page > 0 ? static_cast<UINT>(page) : 0;
}

// Copies the text, truncated to the size of the field.
template <size_t Size>
void CopyText(wchar_t (&field)[Size], const std::wstring& text) {
    field[text.copy(field, Size - 1)] = L'\0';
}

}  // namespace

bool CCPApplet::OnDblclk(HWND parent, const char* parameters) {
    INT_PTR result = IDRETRY;
    while (result == IDRETRY) {
        std::unique_ptr<CWnd> window(runtimeClass_());
        if (auto* sheet = dynamic_cast<CPropSheetControlPanel*>(window.get())) {
            sheet->Complete(parent, StartPage(parameters));
            std::ignore = window.release();  // the sheet deletes itself
            result = sheet->DoModal();
        } else if (auto* dialog = dynamic_cast<CDialog*>(window.get())) {
            result = dialog->DoModal(parent);
        } else {
            return false;
        }
    }
    return result != -1;
}

void CCPApplet::OnInquire(CPLINFO& information) {
    information.idIcon = icon_;
    information.idName = dynamic_ ? CPL_DYNAMIC_RES : name_;
    information.idInfo = dynamic_ ? CPL_DYNAMIC_RES : information_;
    information.lData = reinterpret_cast<LONG_PTR>(this);
}

LRESULT CCPApplet::OnNewInquire(NEWCPLINFOW& information) {
    if (!dynamic_) return 1;
    static_assert(sizeof(NEWCPLINFOW) == 476);
    information.dwSize = sizeof information;
    information.dwFlags = 0;
    information.dwHelpContext = 0;
    information.lData = reinterpret_cast<LONG_PTR>(this);

    std::wstring text;
    auto length = static_cast<DWORD>(std::size(information.szName) - 1);
    if (support_resource_version_string(L"ProductName", Module::Instance(), information.szName, &length) == 0) {
        information.szName[std::size(information.szName) - 1] = L'\0';
        text = FillPlaces(LoadStringLang(IDS_APPLET_INFO_FORMAT), {std::wstring(information.szName)});
    } else {
        CopyText(information.szName, LoadStringLang(static_cast<UINT>(name_)));
        text = LoadStringLang(static_cast<UINT>(information_));
    }
    CopyText(information.szInfo, text);
    return 0;
}

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
    initialisations_.push_back({SUCCEEDED(CoInitialize(nullptr)), SupportLibrary().Load() == 0});
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
    if (ended.library) SupportLibrary().Release();
    if (ended.com) CoUninitialize();
    if (initialisations_.empty()) applets_.clear();
    return CControlPanelApp::ExitApplets();
}
