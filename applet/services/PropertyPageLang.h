// CPropertyPageLang: a property page whose template is in the user's language, and stays in it.
#pragma once

#include "framework/PropertyPage.h"

class CPropertyPageLang : public CPropertyPage {
  public:
    // The language is the one set when the page is constructed. A template that is missing in it leaves the page
    // without one.
    explicit CPropertyPageLang(UINT templateId);

    std::wstring LoadText(UINT id) const override;
    int ShowMessage(const std::wstring& text, UINT type) override;

  protected:
    bool OnInitDialog() override;
};
