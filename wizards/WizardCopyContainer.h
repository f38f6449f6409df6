// The wizard that copies a container: choose it, which reads it; name the copy, which writes it.
#pragma once

#include "csp/ContainerCopy.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct CopyContainerState : WizardState {
    ContainerCopy copy;  // filled by the first page
};

class CWizPageCopyContainerSelectSrcContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageCopyContainerSelectSrcContainer(CopyContainerState& state);

  protected:
    LRESULT OnWizardNext() override;

  private:
    bool OpenSource(CCryptProvContext& source);

    CopyContainerState& state_;
};

class CWizPageCopyContainerSelectDestContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageCopyContainerSelectDestContainer(CopyContainerState& state);

  protected:
    bool OnSetActive() override;
    bool OnWizardFinish() override;

  private:
    CopyContainerState& state_;
};

class CWizardCopyContainer : public CPropertySheetWizardBase {
  public:
    explicit CWizardCopyContainer(HWND parent);

  private:
    CopyContainerState state_;
    CWizPageCopyContainerSelectSrcContainer source_{state_};
    CWizPageCopyContainerSelectDestContainer target_{state_};
};
