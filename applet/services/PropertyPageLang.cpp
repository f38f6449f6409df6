#include "applet/services/PropertyPageLang.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "applet/services/TemplateLang.h"
#include "framework/Accessibility.h"

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
