#include "wizards/WizardCheckContainer.h"

#include "csp/ClientWindow.h"
#include "resources/resource.h"

CWizPageCheckContainerSelectContainer::CWizPageCheckContainerSelectContainer(CheckContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHECK, .subtitle = IDS_SELECT_TO_CHECK}, state), state_(state) {}

LRESULT CWizPageCheckContainerSelectContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    const ClientWindow client(m_hWnd);
    return AcquireSelectedContainer(state_.container, 0) ? 0 : -1;
}

CWizardCheckContainer::CWizardCheckContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHECK, IDB_WIZARD_WATERMARK) {
    AddPage(select_);
    AddPage(finish_);
}
