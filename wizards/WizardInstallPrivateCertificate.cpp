#include "wizards/WizardInstallPrivateCertificate.h"

#include "resources/resource.h"

CWizardInstallPrivateCertificate::CWizardInstallPrivateCertificate(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_INSTALL_CERTIFICATE, IDB_WIZARD_WATERMARK) {
    AddPage(selectFile_);
    AddPage(selectCertificate_);
    AddPage(selectContainer_);
    AddPage(selectStore_);
    AddPage(finish_);
}
