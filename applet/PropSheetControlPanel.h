// CPropSheetControlPanel: what any sheet that the Control Panel opens needs.
#pragma once

#include "framework/PropertySheet.h"

class CPropSheetControlPanel : public CPropertySheet {
  public:
    CPropSheetControlPanel();

    // Completes what the parameterless construction left open: the owner, and the page to open first, from 0.
    void Complete(HWND parent, UINT startPage) noexcept;

  protected:
    void OnInitDialog() override;
    void PostNcDestroy() override;  // deletes the object: it is made with new, by the applet

  private:
    HICON icon_;  // shared by the system
};
