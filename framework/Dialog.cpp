#include "framework/Dialog.h"

#include <cstring>

#include "framework/Controls.h"
#include "framework/Module.h"
#include "framework/Wnd.h"

namespace {

// These messages return their value from the dialog procedure itself, not through DWLP_MSGRESULT.
constexpr bool ReturnsDirectly(UINT message) {
    switch (message) {
        case WM_CTLCOLORMSGBOX:
        case WM_CTLCOLOREDIT:
        case WM_CTLCOLORLISTBOX:
        case WM_CTLCOLORBTN:
        case WM_CTLCOLORDLG:
        case WM_CTLCOLORSCROLLBAR:
        case WM_CTLCOLORSTATIC:
        case WM_CHARTOITEM:
        case WM_VKEYTOITEM:
        case WM_COMPAREITEM:
        case WM_QUERYDRAGICON: return true;
        default: return false;
    }
}

// Whether a template specifies no position: both coordinates are 0. They follow five words in a standard template and
// nine in an extended one, which begins with 1 and 0xFFFF.
bool LeavesPlaceOpen(std::span<const BYTE> dialogTemplate) noexcept {
    WORD words[11];
    if (dialogTemplate.size() < sizeof words) return false;
    std::memcpy(words, dialogTemplate.data(), sizeof words);
    const size_t place = words[0] == 1 && words[1] == 0xFFFF ? 9 : 5;
    return words[place] == 0 && words[place + 1] == 0;
}

}  // namespace

void CDialog::InitModalIndirect(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData) noexcept {
    template_ = dialogTemplate;
    initData_ = initData;
}

INT_PTR CDialog::DoModal(HWND owner) {
    if (template_.empty()) return -1;
    if (!owner) owner = GetActiveWindow();
    return DialogBoxIndirectParamW(Module::Instance(), reinterpret_cast<LPCDLGTEMPLATEW>(template_.data()), owner,
                                   &DialogProc, reinterpret_cast<LPARAM>(this));
}

void CDialog::EndDialog(INT_PTR result) noexcept {
    ::EndDialog(m_hWnd, result);
}

bool CDialog::OnInitDialog() {
    if (!initData_.empty()) ApplyDialogInit(m_hWnd, initData_);
    UpdateData(false);
    return true;
}

void CDialog::OnOK() {
    if (UpdateData(true)) EndDialog(IDOK);
}

void CDialog::OnCancel() {
    EndDialog(IDCANCEL);
}

void CDialog::EnableControl(UINT id, bool enable) noexcept {
    const HWND control = GetDlgItem(id);
    if (!enable && control == GetFocus()) ::SendMessageW(m_hWnd, WM_NEXTDLGCTL, 0, FALSE);
    EnableWithLabel(control, enable);
}

MessageResult CDialog::HandleMessage(const Message& message) {
    if (const MessageResult answer = CWnd::HandleMessage(message)) return answer;
    if (message.id != WM_COMMAND || HIWORD(message.wParam) != BN_CLICKED) return {};
    switch (LOWORD(message.wParam)) {
        case IDOK: OnOK(); return 0;
        case IDCANCEL: OnCancel(); return 0;
        default: return {};
    }
}

INT_PTR CDialog::AnswerDialogMessage(const Message& message) noexcept {
    // Handling the message may destroy the window and this object.
    const HWND window = m_hWnd;
    try {
        const MessageResult answer = HandleMessage(message);
        if (!answer) return FALSE;
        if (ReturnsDirectly(message.id)) return *answer;
        SetWindowLongPtrW(window, DWLP_MSGRESULT, *answer);
        return TRUE;
    } catch (...) {
        return FALSE;  // out of memory: the message gets the dialog manager's default handling
    }
}

INT_PTR CDialog::Begin(HWND window) noexcept {
    SetWindowLongPtrW(window, DWLP_USER, reinterpret_cast<LONG_PTR>(this));
    try {
        if (Attach(window, Source::DialogProcedure)) {
            const bool systemSetsFocus = OnInitDialog();
            if (LeavesPlaceOpen(template_)) CenterOverOwner(window);  // a page has no owner
            return systemSetsFocus;
        }
    } catch (...) {
        // Out of memory.
    }
    OnStartFailed(window);
    return TRUE;
}

void CDialog::OnStartFailed(HWND window) noexcept {
    ::EndDialog(window, -1);
}

CDialog* CDialog::ObjectOf(HWND window) noexcept {
    return reinterpret_cast<CDialog*>(GetWindowLongPtrW(window, DWLP_USER));
}

INT_PTR CALLBACK CDialog::DialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) return reinterpret_cast<CDialog*>(lParam)->Begin(window);
    CDialog* self = ObjectOf(window);
    return self ? self->AnswerDialogMessage({message, wParam, lParam}) : FALSE;
}

namespace {

// The stored message numbers are those of 16-bit Windows.
constexpr WORD kStoredAddToList = 0x401;
constexpr WORD kStoredAddToCombo = 0x403;

constexpr UINT MessageToSend(WORD stored) {
    if (stored == kStoredAddToList) return LB_ADDSTRING;
    if (stored == kStoredAddToCombo) return CB_ADDSTRING;
    return stored;
}

class Reader {
  public:
    explicit Reader(std::span<const BYTE> data) noexcept : rest_(data) {}

    template <class Number>
    bool Take(Number& number) noexcept {
        if (rest_.size() < sizeof number) return false;
        std::memcpy(&number, rest_.data(), sizeof number);
        rest_ = rest_.subspan(sizeof number);
        return true;
    }

    bool Take(std::span<const BYTE>& bytes, size_t length) noexcept {
        if (rest_.size() < length) return false;
        bytes = rest_.first(length);
        rest_ = rest_.subspan(length);
        return true;
    }

  private:
    std::span<const BYTE> rest_;
};

}  // namespace

bool ApplyDialogInit(HWND dialog, std::span<const BYTE> data) noexcept {
    Reader reader(data);
    for (;;) {
        WORD control = 0, message = 0;
        DWORD length = 0;
        std::span<const BYTE> text;
        if (!reader.Take(control)) return false;
        if (control == 0) return true;
        if (!reader.Take(message) || !reader.Take(length) || !reader.Take(text, length)) return false;
        const UINT send = MessageToSend(message);
        if (send != LB_ADDSTRING && send != CB_ADDSTRING) continue;
        if (text.empty() || text.back() != 0) return false;
        if (SendDlgItemMessageA(dialog, control, send, 0, reinterpret_cast<LPARAM>(text.data())) < 0) return false;
    }
}
