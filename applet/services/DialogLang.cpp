#include "applet/services/DialogLang.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "applet/services/TemplateLang.h"
#include "framework/Accessibility.h"

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
