// CPropertySheetWizardBase: a wizard of the Wizard97 style. A wizard derives from it, holds its state and its pages as
// members in that order, and adds the pages.
#pragma once

#include <windows.h>

#include "applet/services/LanguageAware.h"
#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "framework/PropertySheet.h"
#include "wizards/LongWork.h"

// What the pages of any wizard share. A wizard that carries more derives its own plain struct from it.

struct WizardState {
    KeySet keySet = KeySet::User;  // as chosen last, on whichever page
};

// The font of the title on a wizard's last page.

// Sets it in the title, a static of the page: twelve points at the resolution of its display. The caller owns the font,
// which must outlive the static.
UniqueFont SetTitleFont(HWND title) noexcept;

// CWizardPageBase: a page of a wizard, with its texts. It carries out one action of the user at a time.

class CWizardPageBase : public CPropertyPageLang {
  public:
    // Ids of the template and of strings: the wizard's caption, the header's title and subtitle; 0: none.
    CWizardPageBase(UINT dialog, UINT caption, UINT title, UINT subtitle);

  protected:
    // A page without a header, beside the wizard's watermark.
    CWizardPageBase(UINT dialog, UINT caption);

    // The sheet's buttons that are offered (PSWIZB_…). The one that leads on becomes the default button even while it
    // is disabled: the sheet would take another, and Enter would cancel the wizard or go back.
    void SetWizardButtons(DWORD buttons) noexcept;

    // On a page without input this is the button that leads on, if it is offered. A button of the page that had the
    // focus would be the default button instead.
    HWND OnQueryInitialFocus() override;

    // Refuses what the user starts while the page is busy: a provider's window that doesn't disable the wizard would
    // let him leave the page or start again in the middle of something. Cancelling ends a long work first.
    MessageResult HandleMessage(const Message& message) override;

    PageActivity activity_;

  private:
    UINT LeadingButton() const noexcept;

    DWORD buttons_ = 0;  // offered
};

class CPropertySheetWizardBase : public CPropertySheet {
  public:
    // `parent` may be none. `watermark` is the id of the picture beside pages without a header; 0: none. A picture that
    // can't be loaded is left out.
    CPropertySheetWizardBase(HWND parent, UINT caption, UINT watermark = 0);

  private:
    UniqueBitmap watermark_, header_;
};
