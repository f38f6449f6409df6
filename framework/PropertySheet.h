// CPropertySheet: a property sheet or a wizard, run modally with a result of its pages' choice.
#pragma once

#include <windows.h>

#include <prsht.h>

#include <optional>
#include <string>
#include <vector>

#include "framework/PropertyPage.h"
#include "framework/Wnd.h"

// What a finished wizard's run results in: the id of the button.
constexpr INT_PTR ID_WIZFINISH = 0x3025;

class CPropertySheet : public CWnd, private IPropertyPageSite {
  public:
    CPropertySheet() noexcept;

    // The sheet's owner (its top-level window is disabled while the sheet runs), caption, first page from 0.
    void SetOwner(HWND owner) noexcept { owner_ = owner; }
    void SetCaption(std::wstring caption) { caption_ = std::move(caption); }
    void SetStartPage(UINT page) noexcept { startPage_ = page; }

    // Makes the sheet a wizard of the Wizard97 style. Bitmaps stay the caller's, none is allowed; the watermark shows
    // on pages that hide their header, the header bitmap on all others.
    void SetWizard97(HBITMAP watermark, HBITMAP header) noexcept;

    // Pages stay the caller's and must outlive the sheet's run. A page that has no template is not shown.
    void AddPage(CPropertyPage& page);

    // Positions are counted from 0; -1 for a page that isn't the sheet's.
    int GetPageIndex(const CPropertyPage& page) const noexcept;
    int GetPageCount() const noexcept { return static_cast<int>(pages_.size()); }

    // Runs the sheet until it is closed or ended: the value given to EndDialog, else IDOK (wizards: ID_WIZFINISH) or
    // IDCANCEL; -1 when the sheet couldn't be shown. PostNcDestroy runs as the last act, on every path, so the object
    // may be gone when this returns. It doesn't run earlier: when the window is destroyed with its owner while a page
    // shows a message box or a wizard, the page goes on after the box.
    INT_PTR DoModal();

    // Ends the run with this result, whatever the pages hold. Nothing when the sheet isn't open.
    void EndDialog(INT_PTR result) noexcept;

    // The same once every page has applied: when one refuses, the sheet stays until an apply that none refuses.
    void EndAfterApply(INT_PTR result) noexcept { afterApply_ = result; }

    // These are posted: a sheet pressed or changed from inside a page's notification would still be busy with it.
    void PressButton(int button) noexcept { PostMessage(PSM_PRESSBUTTON, static_cast<WPARAM>(button)); }
    void SetWizardButtons(DWORD buttons) noexcept { PostMessage(PSM_SETWIZBUTTONS, 0, static_cast<LPARAM>(buttons)); }

    bool SetActivePage(int page) noexcept { return SendMessage(PSM_SETCURSEL, static_cast<WPARAM>(page)) != 0; }

  protected:
    // The sheet's window exists, the first page is about to be initialised. Here: moved over its owner.
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
    Run* run_ = nullptr;  // DoModal's, while it runs
};
