// The wizard that deletes a container with its keys and certificates.
#pragma once

#include "csp/CryptProvContext.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct DeleteContainerState : WizardState {
    CCryptProvContext container;  // always empty: the deletion returns no handle
};

// Selects the container. Finish deletes it after a confirmation.
class CWizPageDeleteContainerSelectContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageDeleteContainerSelectContainer(DeleteContainerState& state);

  protected:
    bool OnContainerSelected() override;

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
