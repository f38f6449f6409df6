// CPropPageConfigBase: what every settings page of the configuration sheet does alike: it tells when it differs from
// what is stored, saves, asks for the sheet to be built anew, restarts the computer.
#pragma once

#include <initializer_list>

#include "applet/services/LanguageAware.h"
#include "framework/Controls.h"

// What came of saving a page. Values are those of the pages' protocol.
enum class SaveResult : int {
    Failed = 0,         // something wasn't written; the page stays modified and Apply can be repeated
    Saved = 1,          // all is written, or there was nothing to write
    SavedRebuild = -1,  // written, and the sheet must be built anew (another language)
};

class CPropPageConfigBase : public CPropertyPageLang {
  public:
    using CPropertyPageLang::CPropertyPageLang;

  protected:
    bool OnInitDialog() override;
    bool OnApply() override;

    // Whether the controls differ from what is stored.
    virtual bool IsPageModified() { return false; }

    virtual SaveResult SavePage() { return SaveResult::Saved; }

    // Marks the page modified, or not, as IsPageModified says. Pages call it from their change notifications.
    virtual void OnControlChanged();

    // Restarts the computer. False when the user lacks the privilege or the restart was refused.
    virtual bool RebootSystem();

    // Shows the string `reason` while the mouse rests over one of the controls and that control is disabled; 0:
    // nothing.
    void ExplainDisabled(std::initializer_list<UINT> controls, UINT reason);

    bool initialised_ = false;

  private:
    CToolTipCtrl reasons_;
};
