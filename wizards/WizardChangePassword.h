// The wizard that changes the password of a container, in the provider's own dialog.
#pragma once

#include "csp/CryptProvContext.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct ChangePasswordState : WizardState {
    CCryptProvContext container;  // stays open after a failed change
};

// Selects the container. Finish opens it and changes its password.
class CWizPageChangePasswordSelectContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageChangePasswordSelectContainer(ChangePasswordState& state);

  protected:
    bool OnContainerSelected() override;

  private:
    ChangePasswordState& state_;
};

class CWizardChangePassword : public CPropertySheetWizardBase {
  public:
    explicit CWizardChangePassword(HWND parent);

  private:
    ChangePasswordState state_;
    CWizPageChangePasswordSelectContainer select_{state_};
};
