// CDialogLang: a modal dialog whose template is in the user's language.
#pragma once

#include "framework/Dialog.h"

class CDialogLang : public CDialog {
  public:
    // The language is the one set when the dialog is constructed. Without a template in it DoModal answers -1.
    explicit CDialogLang(UINT templateId);

    std::wstring LoadText(UINT id) const override;
    int ShowMessage(const std::wstring& text, UINT type) override;

  protected:
    bool OnInitDialog() override;
};
