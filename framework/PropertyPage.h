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

    // What the sheet is told about the page. A derived class fills it before the page is added to a sheet.
    PROPSHEETPAGEW m_psp{};

    bool HasTemplate() const noexcept { return m_psp.pResource != nullptr; }

    // The page's template (and its initialisation data), locked resources that outlive the page.
    void SetTemplate(std::span<const BYTE> dialogTemplate, std::span<const BYTE> initData) noexcept;

    // Texts of a wizard page; empty ones leave the page as it is. Called before the page is added.
    void SetCaption(std::wstring caption);
    void SetHeader(std::wstring title, std::wstring subtitle);
    void HideHeader() noexcept { m_psp.dwFlags |= PSP_HIDEHEADER; }

    // The sheet that this page was added to; nullptr before.
    CPropertySheet* GetParentSheet() const noexcept { return site_ ? &site_->Sheet() : nullptr; }

    // Creates the system's page object for `site`, which must outlive the page's window. nullptr on failure.
    HPROPSHEETPAGE CreatePage(IPropertyPageSite& site) noexcept;

    void SetModified(bool modified = true) noexcept;

  protected:
    virtual bool OnSetActive();    // false: the sheet goes on to the next page. Here: members into controls
    virtual bool OnKillActive();   // false: the page stays. Here: controls into members
    virtual bool OnApply();        // false: the sheet stays open and shows this page. Here: true
    virtual void OnReset() {}      // the sheet is cancelled
    virtual bool OnQueryCancel();  // false: the sheet stays open
    // The page has been painted, for the first time or again: the places for work that takes a moment.
    virtual void OnFirstShown() {}
    virtual void OnShown() {}

    // The control that has the focus when the page appears. Here: the first one that takes input, since a read-only
    // text may come before it.
    virtual HWND OnQueryInitialFocus();
    virtual LRESULT OnWizardBack() { return 0; }  // 0: go; -1: stay
    virtual LRESULT OnWizardNext() { return 0; }  // 0: go; -1: stay
    virtual bool OnWizardFinish() { return true; }

    void OnOK() override {}      // a page has no such button; Enter is the sheet's
    void OnCancel() override {}  // and so is Esc

    MessageResult HandleMessage(const Message& message) override;

    // The page stays, since the sheet has no way to take it out here, but none of its controls takes input, it saves
    // nothing, and a wizard goes no further.
    void OnStartFailed(HWND window) noexcept override;

    // The sheet's window is gone as well. A refusal keeps the system from going on with it.
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
    bool usable_ = true;  // false: its start failed
    std::wstring caption_, headerTitle_, headerSubtitle_;
};
