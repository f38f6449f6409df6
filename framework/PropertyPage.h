// CPropertyPage: one page of a property sheet or a wizard, from a template in memory.
#pragma once

#include <windows.h>

#include <prsht.h>

#include "framework/Dialog.h"

class CPropertySheet;

// What a page calls on the sheet that shows it.
class IPropertyPageSite {
  public:
    virtual CPropertySheet& Sheet() noexcept = 0;

    // The sheet's window exists; called before the page's own initialisation, for each page. Throws std::bad_alloc.
    virtual void AttachSheet(HWND window) = 0;

    // The page's answer to the sheet's request to apply.
    virtual void PageApplied(bool accepted) noexcept = 0;

  protected:
    ~IPropertyPageSite() = default;
};

class CPropertyPage : public CDialog {
  public:
    CPropertyPage() noexcept;

    // The page's description for the sheet. A derived class completes it before the page is added to a sheet.
    PROPSHEETPAGEW m_psp{};

    bool HasTemplate() const noexcept { return m_psp.pResource != nullptr; }

    // The page's template and its initialisation data (may be empty), which are not copied and must outlive the page.
    void SetTemplate(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData) noexcept;

    // Texts of a wizard page; empty ones change nothing. Call before the page is added.
    void SetCaption(std::wstring caption);
    void SetHeader(std::wstring title, std::wstring subtitle);
    void HideHeader() noexcept { m_psp.dwFlags |= PSP_HIDEHEADER; }

    // The sheet that this page was added to; nullptr before.
    CPropertySheet* GetParentSheet() const noexcept { return site_ ? &site_->Sheet() : nullptr; }

    // Creates the system's page object for `site`, which must outlive the page's window. nullptr on failure.
    HPROPSHEETPAGE CreatePage(IPropertyPageSite& site) noexcept;

    void SetModified(bool modified = true) noexcept;

  protected:
    virtual bool OnSetActive();    // false: the sheet skips the page. Default: UpdateData(false)
    virtual bool OnKillActive();   // false: the page stays active. Default: UpdateData(true)
    virtual bool OnApply();        // false: the sheet stays open and shows this page
    virtual void OnReset() {}      // the sheet is cancelled
    virtual bool OnQueryCancel();  // false: the sheet stays open
    // The page has been painted, for the first time or again. Slow work belongs here.
    virtual void OnFirstShown() {}
    virtual void OnShown() {}

    // The control that gets the focus when the page appears. Default: the first one that accepts input, which may
    // follow read-only texts.
    virtual HWND OnQueryInitialFocus();
    virtual LRESULT OnWizardBack() { return 0; }  // 0: change the page; -1: stay
    virtual LRESULT OnWizardNext() { return 0; }  // 0: change the page; -1: stay
    virtual bool OnWizardFinish() { return true; }

    void OnOK() override {}      // the sheet handles Enter
    void OnCancel() override {}  // the sheet handles Esc

    MessageResult HandleMessage(const Message& message) override;

    // The page cannot be removed from the sheet at this point. Its controls are disabled, it saves nothing, and a
    // wizard cannot leave it.
    void OnStartFailed(HWND window) noexcept override;

    // The sheet's window has been destroyed, too. The refusal prevents the system from using it.
    LRESULT AnswerWhenDestroyed(const Message& message) noexcept override;

  private:
    MessageResult HandleSheetNotification(UINT code);
    MessageResult HandleUnusable(UINT code) noexcept;
    MessageResult Applied(bool applied) noexcept;
    void OnAppeared();
    void MoveFocusToInput() noexcept;

    static INT_PTR CALLBACK PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept;

    IPropertyPageSite* site_ = nullptr;
    bool activated_ = false;
    bool shown_ = false;
    bool usable_ = true;  // false: OnInitDialog failed
    std::wstring caption_, headerTitle_, headerSubtitle_;
};
