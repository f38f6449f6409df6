// CPropertySheet: a modal property sheet or wizard. Its pages can end it with any result.
#pragma once

#include <windows.h>

#include <prsht.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/PropertyPage.h"
#include "framework/Wnd.h"

// The result of a finished wizard: the id of its Finish button.
constexpr INT_PTR ID_WIZFINISH = 0x3025;

class CPropertySheet : public CWnd, private IPropertyPageSite {
  public:
    CPropertySheet() noexcept;

    // The sheet's owner (its top-level window is disabled while the sheet runs), caption, first page from 0.
    void SetOwner(HWND owner) noexcept { owner_ = owner; }
    void SetCaption(std::wstring caption) { caption_ = std::move(caption); }
    void SetStartPage(UINT page) noexcept { startPage_ = page; }

    // Makes the sheet a wizard of the Wizard97 style. The caller keeps ownership of the bitmaps; nullptr shows none.
    // The watermark is shown on pages that hide their header, the header bitmap on all others.
    void SetWizard97(HBITMAP watermark, HBITMAP header) noexcept;

    // The caller keeps ownership of the pages, which must exist until DoModal returns. A page without a template is not
    // shown.
    void AddPage(CPropertyPage& page);

    // Positions are counted from 0; -1 for a page of another sheet.
    int GetPageIndex(const CPropertyPage& page) const noexcept;
    int GetPageCount() const noexcept { return static_cast<int>(pages_.size()); }

    // Runs the sheet until it is closed. Returns the value passed to EndDialog, else IDOK (wizards: ID_WIZFINISH) or
    // IDCANCEL; -1 when the sheet could not be shown. Calls PostNcDestroy last on every path, so the object may have
    // been deleted when this returns. PostNcDestroy is not called earlier, because a page may still be running a
    // message box or a wizard when the window is destroyed with its owner.
    INT_PTR DoModal();

    // Ends the sheet with this result without asking the pages. Does nothing when the sheet is not open.
    void EndDialog(INT_PTR result) noexcept;

    // Ends the sheet with this result after the next Apply in which no page refuses.
    void EndAfterApply(INT_PTR result) noexcept { afterApply_ = result; }

    // Posted, because the sheet cannot process them while it waits for the result of a page's notification.
    void PressButton(int button) noexcept { PostMessage(PSM_PRESSBUTTON, static_cast<WPARAM>(button)); }
    void SetWizardButtons(DWORD buttons) noexcept { PostMessage(PSM_SETWIZBUTTONS, 0, static_cast<LPARAM>(buttons)); }

  protected:
    // Called when the sheet's window exists, before the first page is initialised. Default: centers it over its owner.
    virtual void OnInitDialog();

    void OnNcDestroyed() override {}  // PostNcDestroy follows at the end of DoModal

  private:
    struct Run {
        bool ended = false;
        INT_PTR result = IDCANCEL;
    };

    CPropertySheet& Sheet() noexcept override { return *this; }
    void AttachSheet(HWND window) override;
    void PageApplied(bool accepted) noexcept override;

    HWND CreateSheet();
    static INT_PTR RunLoop(HWND window, const Run& run, INT_PTR finished) noexcept;

    std::vector<CPropertyPage*> pages_;
    std::wstring caption_;
    HWND owner_ = nullptr;
    UINT startPage_ = 0;
    std::optional<INT_PTR> afterApply_;
    DWORD flags_ = 0;
    HBITMAP watermark_ = nullptr, header_ = nullptr;
    Run* run_ = nullptr;  // belongs to DoModal; nullptr while it is not running
};
