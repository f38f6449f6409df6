// CPropPageConfigBase: the base of the settings pages of the configuration sheet.
#pragma once

#include <initializer_list>

#include "applet/services/LanguageAware.h"
#include "framework/Controls.h"

// The result of saving a page.
enum class SaveResult : int {
    Failed = 0,         // a value was not written; the page stays modified, and Apply can be repeated
    Saved = 1,          // every changed value was written
    SavedRebuild = -1,  // as Saved, and the sheet must be created again, because the language changed
};

// On Apply the base exchanges data (UpdateData), calls SavePage and IsPageModified, reports a failure to the user and
// updates the sheet's Apply button. A derived page overrides the two functions and routes the notifications of its
// controls to OnControlChanged.
class CPropPageConfigBase : public CPropertyPageLang {
  public:
    using CPropertyPageLang::CPropertyPageLang;

  protected:
    // While the object exists, the page itself changes its controls, and their notifications are not the user's:
    // ChangesItself is true.
    [[nodiscard]] FlagScope OwnChange() noexcept { return FlagScope(changesItself_); }
    bool ChangesItself() const noexcept { return changesItself_; }

    bool OnInitDialog() override;
    bool OnApply() override;

    // Whether the controls differ from the stored values. False before OnInitDialog.
    bool IsModified() { return initialised_ && IsPageModified(); }

    // Decides IsModified after OnInitDialog.
    virtual bool IsPageModified() { return false; }

    // Writes the changed values. Called after UpdateData(true) has succeeded.
    virtual SaveResult SavePage() { return SaveResult::Saved; }

    // Marks the page as modified or unmodified according to IsPageModified.
    virtual void OnControlChanged();

    // Restarts the computer. False when the user lacks the privilege or the system refused.
    virtual bool RebootSystem();

    // Shows string `reason` as a tip while the mouse is over one of the controls and that control is disabled.
    // Reason 0 removes the tip.
    void ExplainDisabled(std::initializer_list<UINT> controls, UINT reason);

  private:
    CToolTipCtrl reasons_;
    bool initialised_ = false;  // true from OnInitDialog on
    bool changesItself_ = false;
};
