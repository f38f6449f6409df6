#include "wizards/WizardDeleteContainer.h"

#include "applet/services/MessageBoxes.h"
#include "csp/CryptProvContext.h"
#include "resources/resource.h"

CWizPageDeleteContainerSelectContainer::CWizPageDeleteContainerSelectContainer(DeleteContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_DELETE, .subtitle = IDS_SELECT_TO_DELETE}, state), state_(state) {}

bool CWizPageDeleteContainerSelectContainer::OnContainerSelected() {
    const std::wstring question = FormatStringId(IDS_DELETE_QUESTION, ContainerName());
    if (question.empty()) return false;  // nothing is deleted without a confirmation, and its text can't be loaded
    // The answer No finishes the wizard, too.
    if (MessageBoxText(question, MB_YESNO | MB_ICONEXCLAMATION, IDS_DELETE_QUESTION) != IDYES) return true;
    return AcquireSelectedContainer(state_.container, CRYPT_DELETEKEYSET);
}

CWizardDeleteContainer::CWizardDeleteContainer(HWND parent) : CPropertySheetWizardBase(parent, IDS_WIZARD_DELETE) {
    AddPage(select_);
}
