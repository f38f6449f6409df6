// CPropertySheetWizardBase: a wizard of the Wizard97 style. A wizard derives from it, holds its state and its pages as
// members in that order, and adds the pages.
#pragma once

#include <windows.h>

#include "framework/Handles.h"
#include "framework/PropertySheet.h"

class CPropertySheetWizardBase : public CPropertySheet {
  public:
    // `parent` may be none. `watermark` is the id of the picture beside pages without a header; 0: none. A picture that
    // can't be loaded is left out.
    CPropertySheetWizardBase(HWND parent, UINT caption, UINT watermark = 0);

  private:
    UniqueBitmap watermark_, header_;
};
