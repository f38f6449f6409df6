#include "wizards/WizardPageBase.h"

#include "applet/services/Strings.h"

namespace {

std::wstring Load(UINT id) {
    return id ? LoadStringLang(id) : std::wstring();
}

}  // namespace

CWizardPageBase::CWizardPageBase(UINT dialog, UINT caption, UINT title, UINT subtitle) : CPropertyPageLang(dialog) {
    SetCaption(Load(caption));
    SetHeader(Load(title), Load(subtitle));
}

CWizardPageBase::CWizardPageBase(UINT dialog, UINT caption) : CWizardPageBase(dialog, caption, 0, 0) {
    HideHeader();
}
