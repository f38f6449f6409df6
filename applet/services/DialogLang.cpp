#include "applet/services/DialogLang.h"

#include "applet/services/Language.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/DialogInit.h"
#include "framework/Module.h"

CDialogLang::CDialogLang(UINT templateId) {
    const LANGID language = UpdatedUserLanguage();
    InitModalIndirect(Module::Resource(kDialogType, templateId, language),
                      Module::Resource(kDialogInitType, templateId, language));
}

std::wstring CDialogLang::LoadText(UINT id) const {
    return LoadStringLang(id);
}

int CDialogLang::ShowMessage(const std::wstring& text, UINT type) {
    return MessageBoxText(text, type);
}
