// CWizardPageBase: a page of a wizard, with its texts. It carries out one action of the user at a time.
#pragma once

#include <windows.h>

#include "applet/services/PropertyPageLang.h"
#include "wizards/LongWork.h"

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
