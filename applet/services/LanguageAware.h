// CPropertyPageLang: a property page whose template is in the user's language, and stays in it.
#pragma once

#include <windows.h>

#include <span>

#include "framework/Dialog.h"
#include "framework/PropertyPage.h"

// TemplateLang: a dialog template in the user's language.

// What the module has in the language that is set when the object is made: the template and its initialisation data,
// each empty when there is none in exactly that language. The bytes live as long as the module.
struct TemplateLang {
    explicit TemplateLang(UINT id) noexcept;

    std::span<const BYTE> dialog;
    std::span<const BYTE> initData;
};

// CDialogLang: a modal dialog whose template is in the user's language.

class CDialogLang : public CDialog {
  public:
    // The language is the one set when the dialog is constructed. Without a template in it DoModal answers -1.
    explicit CDialogLang(UINT templateId);

    std::wstring LoadText(UINT id) const override;
    int ShowMessage(const std::wstring& text, UINT type) override;

  protected:
    bool OnInitDialog() override;
};

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
