#include "framework/Controls.h"

#include <commctrl.h>

#include "framework/Module.h"

CToolTipCtrl::~CToolTipCtrl() {
    if (m_hWnd) DestroyWindow(m_hWnd);
}

bool CToolTipCtrl::Create(const CWnd& owner) noexcept {
    return SubclassWindow(CreateWindowExW(
        WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX, CW_USEDEFAULT, CW_USEDEFAULT,
        CW_USEDEFAULT, CW_USEDEFAULT, owner.m_hWnd, nullptr, Module::Instance(), nullptr));
}

bool CToolTipCtrl::AddTool(HWND control, const std::wstring& text) noexcept {
    TTTOOLINFOW tool{};
    tool.cbSize = sizeof tool;
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = ::GetParent(control);
    tool.uId = reinterpret_cast<UINT_PTR>(control);
    tool.lpszText = const_cast<wchar_t*>(text.c_str());  // the control copies it
    return SendMessage(TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool)) != 0;
}

void CToolTipCtrl::SetTextBehind(const CWnd& owner, UINT control, const std::wstring& text) noexcept {
    TTTOOLINFOW tool{};
    tool.cbSize = sizeof tool;
    tool.uFlags = TTF_SUBCLASS;
    tool.hwnd = owner.m_hWnd;
    tool.uId = control;
    tool.lpszText = const_cast<wchar_t*>(text.c_str());  // the control copies it
    GetWindowRect(owner.GetDlgItem(control), &tool.rect);
    MapWindowPoints(nullptr, owner.m_hWnd, reinterpret_cast<POINT*>(&tool.rect), 2);
    // Tools are never removed: after a removal some systems no longer show any tip of the owner.
    TTTOOLINFOW known = tool;
    known.lpszText = nullptr;
    if (SendMessage(TTM_GETTOOLINFOW, 0, reinterpret_cast<LPARAM>(&known))) {
        SendMessage(TTM_UPDATETIPTEXTW, 0, reinterpret_cast<LPARAM>(&tool));
    } else if (!text.empty()) {
        SendMessage(TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    }
}
