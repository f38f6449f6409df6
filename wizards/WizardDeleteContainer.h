// The wizard that deletes a container, with all that is in it.
#pragma once

#include "csp/CryptProvContext.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct DeleteContainerState : WizardState {
    CCryptProvContext container;  // for the deletion only, which leaves it empty
};

class CWizPageDeleteContainerSelectContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageDeleteContainerSelectContainer(DeleteContainerState& state);

  protected:
    bool OnWizardFinish() override;

  private:
    DeleteContainerState& state_;
};

class CWizardDeleteContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardDeleteContainer(HWND parent);

  private:
    DeleteContainerState state_;
    CWizPageDeleteContainerSelectContainer select_{state_};
};
