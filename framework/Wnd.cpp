#include "framework/Wnd.h"

#include <commctrl.h>

#include <algorithm>

#include "framework/Handles.h"
#include "framework/Module.h"
#include "framework/Text.h"

namespace {

constexpr UINT_PTR kSubclassId = 1;

// The name of the window property that holds a window's object. It contains the module's address, so that objects of
// another module in the process are not found.
const wchar_t* ObjectProperty() {
    static const std::wstring name = L"CWnd:" + NumberText(reinterpret_cast<INT_PTR>(Module::Instance()));
    return name.c_str();
}

constexpr bool IsColorRequest(UINT message) {
    return message >= WM_CTLCOLORMSGBOX && message <= WM_CTLCOLORSTATIC;
}

}  // namespace

bool Route::Takes(const Message& m) const noexcept {
    if (m.id != message) return false;
    if (m.id == WM_COMMAND) {
        const UINT id = LOWORD(m.wParam);
        return HIWORD(m.wParam) == code && id >= ids.first && id <= ids.last;
    }
    if (m.id == WM_NOTIFY) {
        const auto* header = reinterpret_cast<const NMHDR*>(m.lParam);
        return header->code == code && header->idFrom >= ids.first && header->idFrom <= ids.last;
    }
    return true;
}

std::wstring WindowText(HWND window) {
    std::wstring text(static_cast<size_t>(GetWindowTextLengthW(window)), L'\0');
    text.resize(static_cast<size_t>(GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1)));
    return text;
}

CWnd::~CWnd() {
    UnsubclassWindow();
}

CWnd* CWnd::FromHandlePermanent(HWND window) noexcept {
    return window ? static_cast<CWnd*>(GetPropW(window, ObjectProperty())) : nullptr;
}

bool CWnd::Attach(HWND window, Source source) noexcept {
    if (!window || !SetPropW(window, ObjectProperty(), this)) return false;
    if (!SetWindowSubclass(window, &SubclassProc, kSubclassId, reinterpret_cast<DWORD_PTR>(this))) {
        RemovePropW(window, ObjectProperty());
        return false;
    }
    m_hWnd = window;
    source_ = source;
    return true;
}

bool CWnd::SubclassWindow(HWND window) noexcept {
    return Attach(window, Source::Subclass);
}

bool CWnd::SubclassDlgItem(UINT id, const CWnd& parent) noexcept {
    return SubclassWindow(parent.GetDlgItem(id));
}

void CWnd::UnsubclassWindow() noexcept {
    if (!m_hWnd) return;
    const LastErrorKeeper keeper;
    RemoveWindowSubclass(m_hWnd, &SubclassProc, kSubclassId);
    RemovePropW(m_hWnd, ObjectProperty());
    m_hWnd = nullptr;
}

void CWnd::DoDataExchange(CDataExchange*) {}

std::wstring CWnd::LoadText(UINT id) const {
    const wchar_t* text = nullptr;
    const int length = LoadStringW(Module::Instance(), id, reinterpret_cast<LPWSTR>(&text), 0);
    return length > 0 ? std::wstring(text, static_cast<size_t>(length)) : std::wstring();
}

int CWnd::ShowMessage(const std::wstring& text, UINT type) {
    const HWND root = ::GetAncestor(m_hWnd, GA_ROOT);
    return ::MessageBoxW(root, text.c_str(), WindowText(root).c_str(), type);
}

MessageResult CWnd::HandleMessage(const Message& message) {
    if (const MessageResult answer = Reflect(message)) return answer;
    for (const Route& route : Routes()) {
        if (route.Takes(message)) return route.handler(*this, message);
    }
    return {};
}

MessageResult CWnd::Reflect(const Message& message) {
    if (!IsColorRequest(message.id)) return {};
    CWnd* control = FromHandlePermanent(reinterpret_cast<HWND>(message.lParam));
    if (!control) return {};
    return control->HandleMessage({kReflected + message.id, message.wParam, message.lParam});
}

LRESULT CALLBACK CWnd::SubclassProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                    DWORD_PTR object) noexcept {
    auto* self = reinterpret_cast<CWnd*>(object);
    try {
        if (message == WM_NCDESTROY) {
            self->UnsubclassWindow();
            const LRESULT result = DefSubclassProc(window, message, wParam, lParam);
            self->OnNcDestroyed();  // may delete the object
            return result;
        }
        if (self->source_ == Source::Subclass) {
            if (const MessageResult answer = self->HandleMessage({message, wParam, lParam})) return *answer;
        } else if (message == WM_NOTIFY) {
            const LRESULT result = DefSubclassProc(window, message, wParam, lParam);
            return IsWindow(window) ? result : self->AnswerWhenDestroyed({message, wParam, lParam});
        }
    } catch (...) {
        // Out of memory: the message gets the system's default handling.
    }
    return DefSubclassProc(window, message, wParam, lParam);
}

namespace {

// The start of a range of `length` that is centered in another and within the bounds. A range that is longer than the
// bounds starts at their beginning, so that a window's caption remains visible.
LONG Centered(LONG from, LONG to, LONG length, LONG least, LONG most) noexcept {
    return std::max(least, std::min(from + (to - from - length) / 2, most - length));
}

}  // namespace

void CenterOverOwner(HWND window) noexcept {
    const HWND owner = GetWindow(window, GW_OWNER);
    RECT over, own;
    if (!IsWindowVisible(owner) || IsIconic(owner)) return;
    if (!GetWindowRect(owner, &over) || !GetWindowRect(window, &own)) return;
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    if (!GetMonitorInfoW(MonitorFromWindow(owner, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    const RECT& bounds = monitor.rcWork;
    const LONG left = Centered(over.left, over.right, own.right - own.left, bounds.left, bounds.right);
    const LONG top = Centered(over.top, over.bottom, own.bottom - own.top, bounds.top, bounds.bottom);
    SetWindowPos(window, nullptr, left, top, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
}
