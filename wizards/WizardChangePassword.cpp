#include "wizards/WizardChangePassword.h"

#include "applet/services/MessageBoxes.h"
#include "csp/Containers.h"
#include "csp/CryptProvContext.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

CWizPageChangePasswordSelectContainer::CWizPageChangePasswordSelectContainer(ChangePasswordState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHANGE_PASSWORD, .subtitle = IDS_SELECT_TO_CHANGE_PASSWORD},
                              state),
      state_(state) {}

bool CWizPageChangePasswordSelectContainer::OnContainerSelected() {
    if (!AcquireSelectedContainer(state_.container, 0)) return false;
    const Result<> changed = [&] {
        const CWaitCursor wait;
        return ChangePassword(state_.container.Get());
    }();
    if (!changed) ErrorMessageBox(changed.Failed().code);
    return static_cast<bool>(changed);
}

CWizardChangePassword::CWizardChangePassword(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHANGE_PASSWORD) {
    AddPage(select_);
}
