// The wizard that copies a container. Its pages: select and read the source; name and write the copy.
#pragma once

#include "csp/ContainerCopy.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

struct CopyContainerState : WizardState {
    ContainerCopy copy;  // read by the first page, written by the second
    Provider source;     // the provider that it was read from
};

// Selects the source. Next opens the container and reads it.
class CWizPageCopyContainerSelectSrcContainer : public CWizPageSelectContainer {
  public:
    explicit CWizPageCopyContainerSelectSrcContainer(CopyContainerState& state);

  protected:
    LRESULT OnWizardNext() override;

  private:
    bool OpenSource(CCryptProvContext& source);

    CopyContainerState& state_;
};

// Names the copy. Finish creates the container and writes it.
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
