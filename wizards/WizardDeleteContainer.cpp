#include "wizards/WizardDeleteContainer.h"

#include "applet/services/MessageBoxes.h"
#include "csp/ClientWindow.h"
#include "resources/resource.h"

CWizPageDeleteContainerSelectContainer::CWizPageDeleteContainerSelectContainer(DeleteContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_DELETE, .subtitle = IDS_SELECT_TO_DELETE}, state), state_(state) {}

bool CWizPageDeleteContainerSelectContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return false;
    const ClientWindow client(m_hWnd);
    // Who answers No is done with the wizard, not only with this container.
    if (MessageBoxFormat(IDS_DELETE_QUESTION, MB_YESNO | MB_ICONEXCLAMATION, ContainerName()) != IDYES) return true;
    return AcquireSelectedContainer(state_.container, CRYPT_DELETEKEYSET);
}

CWizardDeleteContainer::CWizardDeleteContainer(HWND parent) : CPropertySheetWizardBase(parent, IDS_WIZARD_DELETE) {
    AddPage(select_);
}
