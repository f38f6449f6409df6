#include "applet/services/StaticLink.h"

#include <commctrl.h>
#include <oleacc.h>
#include <shellapi.h>

#include <algorithm>

#include "applet/services/ProcessCaches.h"
#include "applet/services/Strings.h"
#include "framework/Accessibility.h"
#include "framework/Text.h"

bool OpenWithShell(HWND owner, const wchar_t* verb, const std::wstring& target, int show) noexcept {
    wchar_t directory[MAX_PATH] = L"";
    if (GetSystemDirectoryW(directory, MAX_PATH) == 0) return false;
    const HINSTANCE started = ShellExecuteW(owner, verb, target.c_str(), nullptr, directory, show);
    return reinterpret_cast<INT_PTR>(started) > 32;
}

namespace {

UniqueFont UnderlinedFont(HFONT font) {
    LOGFONTW description{};
    if (GetObjectW(font, sizeof description, &description) == 0) return {};
    description.lfUnderline = TRUE;
    return UniqueFont(CreateFontIndirectW(&description));
}

// The shell would search for any other text as the name of a program or a document.
bool MayOpen(const std::wstring& target) {
    for (const wchar_t* scheme : {L"http://", L"https://", L"mailto:"}) {
        if (BeginsWith(target, scheme)) return true;
    }
    const bool onDrive = target.size() > 3 && target[1] == L':' && target[2] == L'\\';
    if (!onDrive && !BeginsWith(target, L"\\\\")) return false;
    const DWORD attributes = GetFileAttributesW(target.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool IsPress(UINT message, WPARAM key) {
    return message == WM_KEYDOWN && (key == VK_RETURN || key == VK_SPACE);
}

}  // namespace

std::span<const Route> CStaticLink::Routes() const {
    static constexpr Route table[] = {
        onMessage<&CStaticLink::OnHitTest>(WM_NCHITTEST),        onMessage<&CStaticLink::OnClick>(WM_LBUTTONDOWN),
        onMessage<&CStaticLink::OnGetDialogCode>(WM_GETDLGCODE), onMessage<&CStaticLink::OnKeyDown>(WM_KEYDOWN),
        onMessage<&CStaticLink::OnFocusChange>(WM_SETFOCUS),     onMessage<&CStaticLink::OnFocusChange>(WM_KILLFOCUS),
        onMessage<&CStaticLink::OnSetText>(WM_SETTEXT),          onMessage<&CStaticLink::OnPaint>(WM_PAINT),
        onMessage<&CStaticLink::OnSetCursor>(WM_SETCURSOR),      onReflected<&CStaticLink::OnColor>(WM_CTLCOLORSTATIC),
    };
    return table;
}

// Without this, Enter would press the dialog's default button.
LRESULT CStaticLink::OnGetDialogCode(const Message& message) {
    const auto* pending = reinterpret_cast<const MSG*>(message.lParam);
    return DLGC_STATIC | (pending && IsPress(pending->message, pending->wParam) ? DLGC_WANTMESSAGE : 0);
}

MessageResult CStaticLink::OnKeyDown(const Message& message) {
    if (!IsPress(message.id, message.wParam)) return {};
    OnClick();
    return 0;
}

MessageResult CStaticLink::OnFocusChange(const Message&) {
    Redraw();
    return {};
}

LRESULT CStaticLink::OnSetText(const Message& message) {
    const LRESULT result = DefSubclassProc(m_hWnd, message.id, message.wParam, message.lParam);
    Redraw();
    return result;
}

LRESULT CStaticLink::OnPaint(const Message& message) {
    const LRESULT result = DefSubclassProc(m_hWnd, message.id, message.wParam, message.lParam);
    const HDC context = GetFocus() == m_hWnd ? GetDC(m_hWnd) : nullptr;
    if (!context) return result;
    RECT whole;
    GetClientRect(m_hWnd, &whole);
    DrawFocusRect(context, &whole);
    ReleaseDC(m_hWnd, context);
    return result;
}

// The control has no background of its own, so the parent draws this area again.
void CStaticLink::Redraw() noexcept {
    RECT place;
    GetWindowRect(m_hWnd, &place);
    MapWindowPoints(nullptr, GetParent(), reinterpret_cast<POINT*>(&place), 2);
    RedrawWindow(GetParent(), &place, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN);
}

void CStaticLink::FitToText() {
    const std::wstring text = GetWindowText();
    RECT client;
    GetClientRect(m_hWnd, &client);
    if (most_.cx == 0) most_ = {client.right, client.bottom};
    const HDC context = GetDC(m_hWnd);
    if (!context) return;
    const HGDIOBJ before = SelectObject(context, reinterpret_cast<HFONT>(SendMessage(WM_GETFONT)));
    const bool prefix = (GetWindowLongPtrW(m_hWnd, GWL_STYLE) & SS_NOPREFIX) == 0;
    RECT need{0, 0, most_.cx, 0};
    DrawTextW(context, text.c_str(), -1, &need, DT_CALCRECT | DT_WORDBREAK | (prefix ? 0 : DT_NOPREFIX));
    SelectObject(context, before);
    ReleaseDC(m_hWnd, context);
    Redraw();  // the area that the control leaves
    SetWindowPos(m_hWnd, nullptr, 0, 0, std::min(need.right, most_.cx), std::min(need.bottom, most_.cy),
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOCOPYBITS);
}

void CStaticLink::AnnounceAsLink() noexcept {
    SetAccessibleRole(m_hWnd, ROLE_SYSTEM_LINK);
}

MessageResult CStaticLink::OnColor(const Message& message) {
    const LONG_PTR kind = GetWindowLongPtrW(m_hWnd, GWL_STYLE) & SS_TYPEMASK;
    if (kind != SS_LEFT && kind != SS_CENTER && kind != SS_RIGHT) return {};
    const HDC context = reinterpret_cast<HDC>(message.wParam);
    if (!font_) {
        font_ = UnderlinedFont(reinterpret_cast<HFONT>(SendMessage(WM_GETFONT)));
        // On some systems the static selects its own font after this message.
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
    if (!MayOpen(target) || !OpenWithShell(m_hWnd, L"open", target, SW_SHOWNORMAL)) {
        MessageBeep(0);
        return;
    }
    color_ = kVisited;
    Redraw();
}
