#include "applet/services/TemplateLang.h"

#include "applet/services/Language.h"
#include "framework/DialogInit.h"
#include "framework/Module.h"

TemplateLang::TemplateLang(UINT id) noexcept {
    const LANGID language = UpdatedUserLanguage();
    dialog = Module::Resource(kDialogType, id, language);
    initData = Module::Resource(kDialogInitType, id, language);
}
