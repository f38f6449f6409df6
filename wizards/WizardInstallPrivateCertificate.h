// The wizard that installs a certificate from a file and links it with its private key: choose the file, the
// certificate, the container, the store; see what will be done, and do it.
#pragma once

#include <windows.h>

#include <string>

#include "csp/ContainerSearch.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "framework/Handles.h"
#include "wizards/CertificateDialogs.h"
#include "wizards/WizPageSelectCertificate.h"
#include "wizards/WizPageSelectContainer.h"
#include "wizards/WizardBase.h"

// What the pages of the wizard that installs a certificate from a file share.

struct InstallCertificateState : WizardState {
    std::wstring filePath;   // that `file` was opened on; empty: it wasn't
    CertificateChoice file;  // its store; the certificate to install
    CCryptProvContext container;
    std::wstring containerName;  // as the user knows it
    DWORD keySpec = 0;           // the key that is the certificate's; 0: none
    NamedStore target;
    bool writeToContainer = false;
};

// The installation wizard's welcome: what it is for. The wizard has the page but doesn't show it.

class CWizPageInstallCertificateWelcome : public CWizardPageBase {
  public:
    CWizPageInstallCertificateWelcome();

  protected:
    bool OnInitDialog() override;
    bool OnSetActive() override;

  private:
    UniqueFont titleFont_;
};

// The file that the certificate comes from.

class CWizPageInstallCertificateSelectFile : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateSelectFile(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnSetActive() override;
    LRESULT OnWizardNext() override;

  private:
    void OnBrowse();
    void UpdateWizardButtons();
    bool OpenFile();

    InstallCertificateState& state_;
    std::wstring path_;
};

// The certificate to install.

class CWizPageInstallCertificateSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageInstallCertificateSelectCertificate(InstallCertificateState& state);

  protected:
    void UpdateWizardButtons() override;
    LRESULT OnWizardNext() override { return state_.file.certificate ? 0 : -1; }

  private:
    InstallCertificateState& state_;
};

// The container with the certificate's private key: named by the user, or found by the page.

class CWizPageInstallCertificateSelectContainer : public CWizPageSelectContainer, private SearchProgress {
  public:
    explicit CWizPageInstallCertificateSelectContainer(InstallCertificateState& state);

  protected:
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    LRESULT OnWizardNext() override;
    LRESULT OnWizardBack() override;

  private:
    bool Searching(const std::wstring& provider, const std::wstring& container) override;

    void OnAutomatically();
    SearchResult Search();
    void SearchAndShow();
    void ChooseByHand();

    InstallCertificateState& state_;
    ULONGLONG shownAt_ = 0;  // when the progress was shown last, in milliseconds of the system's time
};

// The store that the certificate is installed into.

class CWizPageInstallCertificateSelectStore : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateSelectStore(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnSetActive() override;
    LRESULT OnWizardNext() override;

  private:
    void OnBrowse();
    void Show(NamedStore store);

    InstallCertificateState& state_;
    std::wstring storeName_;
    int keySet_ = 0;  // position in the group of radio buttons
    int writeToContainer_ = BST_UNCHECKED;
};

// What is going to be done, and the installation itself.

class CWizPageInstallCertificateFinish : public CWizardPageBase {
  public:
    explicit CWizPageInstallCertificateFinish(InstallCertificateState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    bool OnWizardFinish() override;

  private:
    void ShowSummary();
    void ShowCertificateRows(const CERT_CONTEXT& certificate);
    void AddRow(UINT setting, const std::wstring& value = {});
    bool Link();

    InstallCertificateState& state_;
    UniqueFont titleFont_;
    CListCtrl summary_;
};

class CWizardInstallPrivateCertificate : public CPropertySheetWizardBase {
  public:
    explicit CWizardInstallPrivateCertificate(HWND parent);

  private:
    InstallCertificateState state_;
    CWizPageInstallCertificateWelcome welcome_;  // not one of the pages: the wizard opens with the file
    CWizPageInstallCertificateSelectFile selectFile_{state_};
    CWizPageInstallCertificateSelectCertificate selectCertificate_{state_};
    CWizPageInstallCertificateSelectContainer selectContainer_{state_};
    CWizPageInstallCertificateSelectStore selectStore_{state_};
    CWizPageInstallCertificateFinish finish_{state_};
};
