#include "framework/ToolTipCtrl.h"

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
