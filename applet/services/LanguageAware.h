// CDialogLang and CPropertyPageLang: a dialog and a property page in the user's language.
#pragma once

#include <windows.h>

#include <string>

#include "framework/Dialog.h"
#include "framework/PropertyPage.h"

// A window of class `Base` with its template, texts and message boxes in the user's language. The template is the one
// of the language that is set when the object is constructed. When the module has none in that language, the window has
// no template: a dialog's DoModal returns -1, and a sheet does not show the page.
template <class Base>
class LanguageAware : public Base {
  public:
    explicit LanguageAware(UINT templateId);

    std::wstring LoadText(UINT id) const override;
    int ShowMessage(const std::wstring& text, UINT type) override;

  protected:
    bool OnInitDialog() override;
};

extern template class LanguageAware<CDialog>;
extern template class LanguageAware<CPropertyPage>;

using CDialogLang = LanguageAware<CDialog>;
using CPropertyPageLang = LanguageAware<CPropertyPage>;
