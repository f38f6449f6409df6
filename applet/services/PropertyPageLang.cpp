#include "applet/services/PropertyPageLang.h"

#include "applet/services/Language.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/DialogInit.h"
#include "framework/Module.h"

CPropertyPageLang::CPropertyPageLang(UINT templateId) {
    const LANGID language = UpdatedUserLanguage();
    SetTemplate(Module::Resource(kDialogType, templateId, language),
                Module::Resource(kDialogInitType, templateId, language));
}

std::wstring CPropertyPageLang::LoadText(UINT id) const {
    return LoadStringLang(id);
}

int CPropertyPageLang::ShowMessage(const std::wstring& text, UINT type) {
    return MessageBoxText(text, type);
}
