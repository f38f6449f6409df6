#include "pages/PropPageConfigPending.h"

bool CPropPageConfigPending::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    for (HWND control = ::GetWindow(m_hWnd, GW_CHILD); control; control = ::GetWindow(control, GW_HWNDNEXT)) {
        ::EnableWindow(control, FALSE);
    }
    return true;
}
