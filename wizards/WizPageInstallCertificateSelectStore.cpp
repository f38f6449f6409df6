#include "wizards/WizPageInstallCertificateSelectStore.h"

#include <utility>

#include "framework/DataExchange.h"
#include "framework/Text.h"
#include "resources/resource.h"

CWizPageInstallCertificateSelectStore::CWizPageInstallCertificateSelectStore(InstallCertificateState& state)
    : CWizardPageBase(IDD_SELECT_STORE, IDS_WIZARD_INSTALL_CERTIFICATE, IDS_CERTIFICATE_STORE,
                      IDS_SELECT_CERTIFICATE_STORE),
      state_(state) {}

std::span<const Route> CWizPageInstallCertificateSelectStore::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageInstallCertificateSelectStore::OnBrowse>(IDC_STORE_BROWSE, BN_CLICKED),
    };
    return table;
}

void CWizPageInstallCertificateSelectStore::DoDataExchange(CDataExchange* exchange) {
    DDX_Text(exchange, IDC_STORE_NAME, storeName_);
    DDX_Radio(exchange, IDC_STORE_USER, keySet_);
    DDX_Check(exchange, IDC_STORE_WRITE_TO_CONTAINER, writeToContainer_);
}

bool CWizPageInstallCertificateSelectStore::OnSetActive() {
    keySet_ = state_.keySet == KeySet::Computer ? 1 : 0;
    Show(PersonalStore(state_.keySet));
    return CWizardPageBase::OnSetActive();
}

void CWizPageInstallCertificateSelectStore::OnBrowse() {
    if (!UpdateData(true)) return;
    state_.target = {};  // closed before another is opened
    Show(ChooseStore(m_hWnd, state_.keySet));
}

void CWizPageInstallCertificateSelectStore::Show(NamedStore store) {
    state_.target = std::move(store);
    storeName_ = VisibleText(state_.target.name);
    UpdateData(false);
    SetWizardButtons(storeName_.empty() ? PSWIZB_BACK : PSWIZB_BACK | PSWIZB_NEXT);
}

LRESULT CWizPageInstallCertificateSelectStore::OnWizardNext() {
    if (!UpdateData(true) || storeName_.empty()) return -1;
    state_.target.name = storeName_;
    state_.writeToContainer = writeToContainer_ == BST_CHECKED;
    return 0;
}
