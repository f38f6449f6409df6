#include "applet/services/StaticLink.h"

#include <shellapi.h>

#include "applet/services/ProcessCaches.h"
#include "applet/services/Strings.h"

namespace {

UniqueFont UnderlinedFont(HFONT font) {
    LOGFONTW description{};
    if (GetObjectW(font, sizeof description, &description) == 0) return {};
    description.lfUnderline = TRUE;
    return UniqueFont(CreateFontIndirectW(&description));
}

}  // namespace

std::span<const Route> CStaticLink::Routes() const {
    static constexpr Route table[] = {
        onMessage<&CStaticLink::OnHitTest>(WM_NCHITTEST),
        onMessage<&CStaticLink::OnClick>(WM_LBUTTONDOWN),
        onMessage<&CStaticLink::OnSetCursor>(WM_SETCURSOR),
        onReflected<&CStaticLink::OnColor>(WM_CTLCOLORSTATIC),
    };
    return table;
}

MessageResult CStaticLink::OnColor(const Message& message) {
    const LONG_PTR kind = GetWindowLongPtrW(m_hWnd, GWL_STYLE) & SS_TYPEMASK;
    if (kind != SS_LEFT && kind != SS_CENTER && kind != SS_RIGHT) return {};
    const HDC context = reinterpret_cast<HDC>(message.wParam);
    if (!font_) {
        font_ = UnderlinedFont(reinterpret_cast<HFONT>(SendMessage(WM_GETFONT)));
        // Some systems' statics choose their own font after this message.
        if (font_) SendMessage(WM_SETFONT, reinterpret_cast<WPARAM>(font_.get()), FALSE);
    }
    if (font_) SelectObject(context, font_.get());
    SetTextColor(context, color_);
    SetBkMode(context, TRANSPARENT);
    return reinterpret_cast<LRESULT>(GetStockObject(HOLLOW_BRUSH));
}

MessageResult CStaticLink::OnSetCursor(const Message&) {
    const HCURSOR hand = Caches().HandCursor();
    if (!hand) return {};
    SetCursor(hand);
    return TRUE;
}

void CStaticLink::OnClick() {
    if (handler_) {
        handler_->OnLinkClicked(m_hWnd);
    } else {
        OpenTarget();
    }
}

void CStaticLink::OpenTarget() {
    if (target_.empty()) target_ = LoadStringLang(static_cast<UINT>(GetDlgCtrlID(m_hWnd)));
    const std::wstring target = target_.empty() ? GetWindowText() : target_;
    const HINSTANCE opened = ShellExecuteW(m_hWnd, L"open", target.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    if (reinterpret_cast<INT_PTR>(opened) <= 32) {
        MessageBeep(0);
        return;
    }
    color_ = kVisited;
    Invalidate();
}
