#include "wizards/WizardBase.h"

#include "applet/services/Strings.h"
#include "framework/Module.h"
#include "framework/PropertySheet.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

UniqueFont SetTitleFont(HWND title) noexcept {
    constexpr int kPoints = 12, kPointsPerInch = 72;
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    LOGFONTW font = metrics.lfMessageFont;
    font.lfWeight = FW_BOLD;
    lstrcpynW(font.lfFaceName, L"Verdana Bold", LF_FACESIZE);
    if (const HDC dc = GetDC(title)) {
        font.lfHeight = -(kPoints * GetDeviceCaps(dc, LOGPIXELSY) / kPointsPerInch);
        ReleaseDC(title, dc);
    }
    UniqueFont created(CreateFontIndirectW(&font));
    SendMessageW(title, WM_SETFONT, reinterpret_cast<WPARAM>(created.get()), TRUE);
    return created;
}

namespace {

struct MessageRange {
    UINT first, last;
};

constexpr int kWizardButtons[] = {0x3023, 0x3024, 0x3025};  // the sheet's Back, Next and Finish

constexpr MessageRange kInput[] = {{WM_KEYFIRST, WM_KEYLAST},
                                   {WM_MOUSEFIRST, WM_MOUSELAST},
                                   {WM_NCMOUSEMOVE, WM_NCXBUTTONDBLCLK},
                                   {BM_CLICK, BM_CLICK}};

bool IsCancelKey(const MSG& message, HWND cancel) {
    switch (message.message) {
        case WM_KEYDOWN:
            return message.wParam == VK_ESCAPE ||
                   (message.hwnd == cancel && (message.wParam == VK_RETURN || message.wParam == VK_SPACE));
        case WM_SYSKEYDOWN: return message.wParam == VK_F4;
        default: return false;
    }
}

bool IsKey(const MSG& message) {
    return message.message >= WM_KEYFIRST && message.message <= WM_KEYLAST;
}

// Of the sheet's frame only the Close button is processed: moving and sizing would suspend the work.
bool IsForClosing(const MSG& message, HWND sheet, HWND cancel) {
    const bool frame = message.message >= WM_NCMOUSEMOVE && message.message <= WM_NCXBUTTONDBLCLK;
    return frame ? message.hwnd == sheet && message.wParam == HTCLOSE : message.hwnd == cancel;
}

// Removes the sheet's input from the queue. Input for the Cancel and Close buttons is dispatched, so the page receives
// PSN_QUERYCANCEL before this returns. Other input is discarded: the user made it for an earlier state of the sheet.
// True when the user pressed Esc, or when WM_QUIT has been posted.
bool ProcessCancelInput(HWND sheet) noexcept {
    const HWND cancel = GetDlgItem(sheet, IDCANCEL);
    bool pressed = false;
    for (const MessageRange& range : kInput) {
        MSG message;
        while (PeekMessageW(&message, sheet, range.first, range.last, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                PostQuitMessage(static_cast<int>(message.wParam));  // for the message loop of the sheet
                return true;
            }
            if (IsKey(message)) {
                pressed |= IsCancelKey(message, cancel);
            } else if (IsForClosing(message, sheet, cancel)) {
                DispatchMessageW(&message);
            }
        }
    }
    return pressed;
}

}  // namespace

LongWork::LongWork(HWND sheet, PageActivity& activity) noexcept
    : sheet_(sheet), activity_(activity), before_(activity) {
    activity_ = {true, this};
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        buttons_[i].window = GetDlgItem(sheet_, kWizardButtons[i]);
        buttons_[i].enabled = IsWindowEnabled(buttons_[i].window) != FALSE;
        EnableWindow(buttons_[i].window, FALSE);
    }
}

LongWork::~LongWork() {
    ProcessCancelInput(sheet_);
    for (const Button& button : buttons_) EnableWindow(button.window, button.enabled);
    activity_ = before_;
}

bool LongWork::GoOn() noexcept {
    RedrawWindow(sheet_, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    // After painting: some systems update the screen only when a thread reads its input.
    if (ProcessCancelInput(sheet_)) cancelled_ = true;
    return !cancelled_;
}

namespace {

constexpr UINT kNextButton = 0x3024;  // ID_WIZFINISH is that of Finish

std::wstring Load(UINT id) {
    return id ? LoadStringLang(id) : std::wstring();
}

bool IsPushButton(HWND control) noexcept {
    return (SendMessageW(control, WM_GETDLGCODE, 0, 0) & (DLGC_DEFPUSHBUTTON | DLGC_UNDEFPUSHBUTTON)) != 0;
}

// The result of a message that begins an action of the user, if the action is refused; empty for other messages.
MessageResult Refusal(const Message& message, HWND sheet) noexcept {
    if (message.id == WM_COMMAND && message.lParam && HIWORD(message.wParam) == BN_CLICKED) return 0;
    if (message.id != WM_NOTIFY) return {};
    const auto* header = reinterpret_cast<const NMHDR*>(message.lParam);
    if (header->hwndFrom != sheet) return {};
    switch (header->code) {
        case PSN_WIZBACK:
        case PSN_WIZNEXT: return -1;
        case PSN_KILLACTIVE:
        case PSN_QUERYCANCEL:
        case PSN_WIZFINISH: return TRUE;
        default: return {};
    }
}

bool IsCancel(const Message& message) noexcept {
    return message.id == WM_NOTIFY && reinterpret_cast<const NMHDR*>(message.lParam)->code == PSN_QUERYCANCEL;
}

}  // namespace

CWizardPageBase::CWizardPageBase(UINT dialog, UINT caption, UINT title, UINT subtitle) : CPropertyPageLang(dialog) {
    SetCaption(Load(caption));
    SetHeader(Load(title), Load(subtitle));
}

CWizardPageBase::CWizardPageBase(UINT dialog, UINT caption) : CWizardPageBase(dialog, caption, 0, 0) {
    HideHeader();
}

UINT CWizardPageBase::ForwardButton() const noexcept {
    return buttons_ & (PSWIZB_FINISH | PSWIZB_DISABLEDFINISH) ? UINT{ID_WIZFINISH} : kNextButton;
}

void CWizardPageBase::SetWizardButtons(DWORD buttons) noexcept {
    buttons_ = buttons;
    CPropertySheet& sheet = *GetParentSheet();
    sheet.SetWizardButtons(buttons);
    sheet.PostMessage(DM_SETDEFID, ForwardButton());
}

HWND CWizardPageBase::OnQueryInitialFocus() {
    const HWND first = CPropertyPageLang::OnQueryInitialFocus();
    if (!IsPushButton(first) || !(buttons_ & (PSWIZB_NEXT | PSWIZB_FINISH))) return first;
    return ::GetDlgItem(GetParent(), static_cast<int>(ForwardButton()));
}

MessageResult CWizardPageBase::HandleMessage(const Message& message) {
    const MessageResult refusal = Refusal(message, GetParent());
    if (!refusal) return CPropertyPageLang::HandleMessage(message);
    if (activity_.busy) {
        if (activity_.work && IsCancel(message)) activity_.work->Cancel();
        return refusal;
    }
    const FlagScope busy(activity_.busy);
    return CPropertyPageLang::HandleMessage(message);
}

namespace {

UniqueBitmap LoadPicture(UINT id) {
    return UniqueBitmap(id ? LoadBitmapW(Module::Instance(), MAKEINTRESOURCEW(id)) : nullptr);
}

}  // namespace

CPropertySheetWizardBase::CPropertySheetWizardBase(HWND parent, UINT caption, UINT watermark)
    : watermark_(LoadPicture(watermark)), header_(LoadPicture(IDB_WIZARD_HEADER)) {
    SetOwner(parent);
    SetCaption(LoadStringLang(caption));
    SetWizard97(watermark_.get(), header_.get());
}
