#include "framework/PropertySheet.h"

#include <algorithm>

#include "framework/Module.h"
#include "framework/Wnd.h"

namespace {

// Disables a sheet's owner while the sheet runs. Some hosts pass the desktop window, which must not be disabled.
class OwnerLock : NonCopyable {
  public:
    explicit OwnerLock(HWND owner) noexcept {
        if (!owner || owner == GetDesktopWindow() || !IsWindowEnabled(owner)) return;
        owner_ = owner;
        EnableWindow(owner_, FALSE);
    }
    ~OwnerLock() {
        if (owner_) EnableWindow(owner_, TRUE);
    }

  private:
    HWND owner_ = nullptr;
};

}  // namespace

CPropertySheet::CPropertySheet() noexcept : flags_(PSH_MODELESS | PSH_NOCONTEXTHELP) {}

void CPropertySheet::SetWizard97(HBITMAP watermark, HBITMAP header) noexcept {
    flags_ |= PSH_WIZARD97;
    watermark_ = watermark;
    header_ = header;
    // Passed by handle, because some systems do not draw bitmaps that are given as resources.
    if (watermark_) flags_ |= PSH_WATERMARK | PSH_USEHBMWATERMARK;
    flags_ |= PSH_HEADER;
    if (header_) flags_ |= PSH_USEHBMHEADER;
}

void CPropertySheet::AddPage(CPropertyPage& page) {
    pages_.push_back(&page);
}

int CPropertySheet::GetPageIndex(const CPropertyPage& page) const noexcept {
    const auto found = std::find(pages_.begin(), pages_.end(), &page);
    return found == pages_.end() ? -1 : static_cast<int>(found - pages_.begin());
}

void CPropertySheet::AttachSheet(HWND window) {
    if (m_hWnd || !Attach(window, Source::Subclass)) return;
    OnInitDialog();
}

void CPropertySheet::OnInitDialog() {
    CenterOverOwner(m_hWnd);
}

HWND CPropertySheet::CreateSheet() {
    std::vector<HPROPSHEETPAGE> handles;
    handles.reserve(pages_.size());
    for (CPropertyPage* page : pages_) {
        if (!page->HasTemplate()) continue;
        if (const HPROPSHEETPAGE handle = page->CreatePage(*this)) handles.push_back(handle);
    }
    if (handles.empty()) return nullptr;

    PROPSHEETHEADERW header{};
    header.dwSize = sizeof header;
    header.dwFlags = flags_;
    header.hwndParent = owner_;
    header.hInstance = Module::Instance();
    header.pszCaption = caption_.c_str();
    header.nPages = static_cast<UINT>(handles.size());
    header.nStartPage = startPage_ < handles.size() ? startPage_ : 0;
    header.phpage = handles.data();
    header.hbmWatermark = watermark_;
    header.hbmHeader = header_;
    const INT_PTR created = PropertySheetW(&header);  // destroys the page handles when it fails
    if (created == 0 || created == -1) return nullptr;
    const HWND window = reinterpret_cast<HWND>(created);
    AttachSheet(window);
    return window;
}

INT_PTR CPropertySheet::DoModal() {
    Run run;
    run_ = &run;
    const INT_PTR finished = flags_ & PSH_WIZARD97 ? ID_WIZFINISH : IDOK;
    if (owner_) owner_ = GetAncestor(owner_, GA_ROOT);
    INT_PTR result = -1;
    HWND window = nullptr;
    {
        const OwnerLock lock(owner_);
        try {
            window = CreateSheet();
        } catch (...) {
            // Out of memory: the sheet could not be shown.
        }
        if (window) result = RunLoop(window, run, finished);
        // Enable the owner before the sheet is destroyed; otherwise a window of another program would be activated.
    }
    if (!window) window = m_hWnd;  // its creation failed halfway
    if (IsWindow(window)) DestroyWindow(window);
    run_ = nullptr;
    PostNcDestroy();  // may delete the object
    return result;
}

void CPropertySheet::EndDialog(INT_PTR result) noexcept {
    if (!m_hWnd) return;
    *run_ = {true, result};
    PostMessage(WM_NULL);  // wakes up the message loop
}

// The pages apply one after the other within one message, so the loop sees the state after the last page's answer.
void CPropertySheet::PageApplied(bool accepted) noexcept {
    if (!afterApply_ || !run_) return;
    if (accepted) {
        EndDialog(*afterApply_);
    } else {
        run_->ended = false;
    }
}

INT_PTR CPropertySheet::RunLoop(HWND window, const Run& run, INT_PTR finished) noexcept {
    MSG message;
    while (!run.ended && PropSheet_GetCurrentPageHwnd(window)) {
        const BOOL got = GetMessageW(&message, nullptr, 0, 0);
        if (got == 0)
            PostQuitMessage(static_cast<int>(message.wParam));  // repeat it for the program's own message loop
        if (got <= 0) return IDCANCEL;
        if (!PropSheet_IsDialogMessage(window, &message)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    if (run.ended) return run.result;
    return PropSheet_GetResult(window) > 0 ? finished : IDCANCEL;
}
