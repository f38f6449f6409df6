// CWizardPageBase: a page of a wizard, with its texts.
#pragma once

#include <windows.h>

#include "applet/services/PropertyPageLang.h"

class CWizardPageBase : public CPropertyPageLang {
  public:
    // Ids of the template and of strings: the wizard's caption, the header's title and subtitle; 0: none.
    CWizardPageBase(UINT dialog, UINT caption, UINT title, UINT subtitle);

  protected:
    // A page without a header, beside the wizard's watermark.
    CWizardPageBase(UINT dialog, UINT caption);
};
