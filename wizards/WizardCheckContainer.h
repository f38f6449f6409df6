// The wizard that checks a container: choose it, see the report.
#pragma once

#include "wizards/CheckContainerState.h"
#include "wizards/PropertySheetWizardBase.h"
#include "wizards/WizPageCheckContainerFinish.h"
#include "wizards/WizPageSelectContainer.h"

class CWizPageCheckContainerSelectContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageCheckContainerSelectContainer(CheckContainerState& state);

  protected:
    LRESULT OnWizardNext() override;

  private:
    CheckContainerState& state_;
};

class CWizardCheckContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardCheckContainer(HWND parent);

  private:
    CheckContainerState state_;
    CWizPageCheckContainerSelectContainer select_{state_};
    CWizPageCheckContainerFinish finish_{state_};
};
