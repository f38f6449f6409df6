#include "applet/services/LanguageAware.h"

#include "applet/services/Language.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/Accessibility.h"
#include "framework/Dialog.h"
#include "framework/Module.h"

TemplateLang::TemplateLang(UINT id) noexcept {
    const LANGID language = UpdatedUserLanguage();
    dialog = Module::Resource(kDialogType, id, language);
    initData = Module::Resource(kDialogInitType, id, language);
}

CDialogLang::CDialogLang(UINT templateId) {
    const TemplateLang found(templateId);
    InitModalIndirect(found.dialog, found.initData);
}

bool CDialogLang::OnInitDialog() {
    NameControlsApart(m_hWnd);
    return CDialog::OnInitDialog();
}

std::wstring CDialogLang::LoadText(UINT id) const {
    return LoadStringLang(id);
}

int CDialogLang::ShowMessage(const std::wstring& text, UINT type) {
    return MessageBoxText(text, type);
}

CPropertyPageLang::CPropertyPageLang(UINT templateId) {
    const TemplateLang found(templateId);
    SetTemplate(found.dialog, found.initData);
}

bool CPropertyPageLang::OnInitDialog() {
    NameControlsApart(m_hWnd);
    return CPropertyPage::OnInitDialog();
}

std::wstring CPropertyPageLang::LoadText(UINT id) const {
    return LoadStringLang(id);
}

int CPropertyPageLang::ShowMessage(const std::wstring& text, UINT type) {
    return MessageBoxText(text, type);
}
