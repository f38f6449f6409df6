#include "wizards/WizardCertificateOnContainer.h"

#include "resources/resource.h"

CWizardCertificateOnContainer::CWizardCertificateOnContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CERTIFICATES) {
    AddPage(selectContainer_);
    AddPage(selectCertificate_);
}
