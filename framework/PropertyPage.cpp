#include "framework/PropertyPage.h"

#include <utility>

#include "framework/Module.h"

namespace {

// Posted by a page to itself when it appears; see OnAppeared.
constexpr UINT kAppeared = WM_APP + 0x200;

// The result of a notification that a page could not handle (out of memory): the sheet stays on the page, so that no
// change is lost. Cancelling remains possible.
constexpr MessageResult Refusal(UINT code) {
    switch (code) {
        case PSN_KILLACTIVE:
        case PSN_APPLY:  // PSNRET_INVALID is the same number
        case PSN_WIZFINISH: return TRUE;
        case PSN_WIZBACK:
        case PSN_WIZNEXT: return -1;
        default: return {};
    }
}

}  // namespace

CPropertyPage::CPropertyPage() noexcept {
    m_psp.dwSize = sizeof m_psp;
    m_psp.hInstance = Module::Instance();
    m_psp.pfnDlgProc = &PageProc;
    m_psp.lParam = reinterpret_cast<LPARAM>(this);
}

void CPropertyPage::SetTemplate(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData) noexcept {
    InitModalIndirect(dialogTemplate, initData);
    m_psp.pResource = reinterpret_cast<LPCDLGTEMPLATEW>(dialogTemplate.data());
    m_psp.dwFlags |= PSP_DLGINDIRECT;
}

void CPropertyPage::SetCaption(std::wstring caption) {
    caption_ = std::move(caption);
    if (caption_.empty()) return;
    m_psp.pszTitle = caption_.c_str();
    m_psp.dwFlags |= PSP_USETITLE;
}

void CPropertyPage::SetHeader(std::wstring title, std::wstring subtitle) {
    headerTitle_ = std::move(title);
    headerSubtitle_ = std::move(subtitle);
    if (!headerTitle_.empty()) {
        m_psp.pszHeaderTitle = headerTitle_.c_str();
        m_psp.dwFlags |= PSP_USEHEADERTITLE;
    }
    if (!headerSubtitle_.empty()) {
        m_psp.pszHeaderSubTitle = headerSubtitle_.c_str();
        m_psp.dwFlags |= PSP_USEHEADERSUBTITLE;
    }
}

HPROPSHEETPAGE CPropertyPage::CreatePage(IPropertyPageSite& site) noexcept {
    site_ = &site;
    return CreatePropertySheetPageW(&m_psp);
}

void CPropertyPage::SetModified(bool modified) noexcept {
    ::SendMessageW(GetParent(), modified ? PSM_CHANGED : PSM_UNCHANGED, reinterpret_cast<WPARAM>(m_hWnd), 0);
}

bool CPropertyPage::OnSetActive() {
    // OnInitDialog has just shown the members when the page appears for the first time.
    if (std::exchange(activated_, true)) UpdateData(false);
    return true;
}

bool CPropertyPage::OnKillActive() {
    return UpdateData(true);
}

bool CPropertyPage::OnApply() {
    return true;
}

HWND CPropertyPage::OnQueryInitialFocus() {
    const HWND first = GetNextDlgTabItem(m_hWnd, nullptr, FALSE);
    HWND control = first;
    do {
        const LRESULT kind = ::SendMessageW(control, WM_GETDLGCODE, 0, 0);
        const bool readOnly = (kind & DLGC_HASSETSEL) && (GetWindowLongPtrW(control, GWL_STYLE) & ES_READONLY);
        if (!readOnly && !(kind & DLGC_STATIC)) return control;  // links are static texts
        control = GetNextDlgTabItem(m_hWnd, control, FALSE);
    } while (control && control != first);
    return first;
}

void CPropertyPage::OnAppeared() {
    if (PropSheet_GetCurrentPageHwnd(GetParent()) != m_hWnd) return;  // another page is active already
    MoveFocusToInput();
    // Some systems do not paint the whole page when it has no header and the previous page has one.
    const UINT whole = m_psp.dwFlags & PSP_HIDEHEADER ? RDW_INVALIDATE | RDW_ERASE : 0;
    RedrawWindow(GetParent(), nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN | whole);
    if (!std::exchange(shown_, true)) OnFirstShown();
    if (m_hWnd) OnShown();  // OnFirstShown may have shown a message box, during which the sheet was closed
}

// Some systems do not send PSN_QUERYINITIALFOCUS and leave the focus on the first tab stop, or on a control of the
// previous page, which is hidden.
void CPropertyPage::MoveFocusToInput() noexcept {
    const HWND focus = GetFocus();
    const HWND wanted = OnQueryInitialFocus();
    const bool hidden = ::IsChild(GetParent(), focus) && !IsWindowVisible(focus);
    if (focus != wanted && (hidden || focus == GetNextDlgTabItem(m_hWnd, nullptr, FALSE))) {
        ::SendMessageW(GetParent(), WM_NEXTDLGCTL, reinterpret_cast<WPARAM>(wanted), TRUE);
    }
}

bool CPropertyPage::OnQueryCancel() {
    return true;
}

void CPropertyPage::OnStartFailed(HWND window) noexcept {
    usable_ = false;
    for (HWND child = GetWindow(window, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
        ::EnableWindow(child, FALSE);
    }
}

MessageResult CPropertyPage::HandleMessage(const Message& message) {
    if (usable_) {
        if (const MessageResult answer = CDialog::HandleMessage(message)) return answer;
        if (message.id == kAppeared) OnAppeared();
    }
    if (message.id != WM_NOTIFY) return {};
    const auto* header = reinterpret_cast<const NMHDR*>(message.lParam);
    if (header->hwndFrom != GetParent()) return {};
    if (!usable_) return HandleUnusable(header->code);
    try {
        return HandleSheetNotification(header->code);
    } catch (...) {
        if (header->code == PSN_APPLY) Applied(false);
        if (header->code == PSN_SETACTIVE) PostMessage(kAppeared);
        return Refusal(header->code);
    }
}

MessageResult CPropertyPage::HandleSheetNotification(UINT code) {
    switch (code) {
        case PSN_SETACTIVE: {
            const bool shown = OnSetActive();
            PostMessage(
                kAppeared);  // after messages that the page posted, which may enable a button that gets the focus
            return shown ? 0 : -1;
        }
        case PSN_KILLACTIVE: return OnKillActive() ? FALSE : TRUE;
        case PSN_APPLY: return Applied(OnApply());
        case PSN_RESET: OnReset(); return 0;
        case PSN_QUERYCANCEL: return OnQueryCancel() ? FALSE : TRUE;
        case PSN_QUERYINITIALFOCUS: return reinterpret_cast<LRESULT>(OnQueryInitialFocus());
        case PSN_WIZBACK: return OnWizardBack();
        case PSN_WIZNEXT: return OnWizardNext();
        case PSN_WIZFINISH: return OnWizardFinish() ? FALSE : TRUE;
        default: return {};
    }
}

// The user can still change to other pages, save them and close the sheet.
MessageResult CPropertyPage::HandleUnusable(UINT code) noexcept {
    switch (code) {
        case PSN_APPLY: return Applied(true);
        case PSN_WIZBACK:
        case PSN_WIZNEXT:
        case PSN_WIZFINISH: return Refusal(code);
        default: return {};
    }
}

LRESULT CPropertyPage::AnswerWhenDestroyed(const Message& message) noexcept {
    const UINT code = reinterpret_cast<const NMHDR*>(message.lParam)->code;
    if (code == PSN_APPLY) return PSNRET_INVALID_NOCHANGEPAGE;  // PSNRET_INVALID would show the page
    return Refusal(code).value_or(0);
}

MessageResult CPropertyPage::Applied(bool applied) noexcept {
    if (site_) site_->PageApplied(applied);
    return applied ? PSNRET_NOERROR : PSNRET_INVALID;
}

INT_PTR CALLBACK CPropertyPage::PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) {
        const auto* page = reinterpret_cast<const PROPSHEETPAGEW*>(lParam);
        auto* self = reinterpret_cast<CPropertyPage*>(page->lParam);
        if (self->site_) self->site_->AttachSheet(::GetParent(window));
        self->activated_ = self->shown_ = false;
        self->usable_ = true;
        return self->Begin(window);
    }
    CDialog* self = ObjectOf(window);
    return self ? static_cast<CPropertyPage*>(self)->AnswerDialogMessage({message, wParam, lParam}) : FALSE;
}
