// The wizard that installs a certificate from a file and links it with its private key. Its pages: select the file, the
// certificate, the container and the store; view the summary and install.
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

struct InstallCertificateState : WizardState {
    std::wstring filePath;   // of the open file; empty when none is open
    CertificateChoice file;  // the file as a store, and the certificate to install
    CCryptProvContext container;
    std::wstring containerName;  // as selected by the user
    DWORD keySpec = 0;           // the certificate's key: AT_KEYEXCHANGE, AT_SIGNATURE, or 0 for none
    NamedStore target;
    bool writeToContainer = false;
};

// Describes the wizard. The wizard has this page but doesn't show it.
class CWizPageInstallCertificateWelcome : public CWizardPageBase {
  public:
    CWizPageInstallCertificateWelcome();

  protected:
    bool OnInitDialog() override;
    bool OnSetActive() override;

  private:
    UniqueFont titleFont_;
};

// Selects the file. Next opens it.
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

// Selects the certificate to install, if the file holds several.
class CWizPageInstallCertificateSelectCertificate : public CWizPageSelectCertificate {
  public:
    explicit CWizPageInstallCertificateSelectCertificate(InstallCertificateState& state);

  protected:
    void UpdateWizardButtons() override;
    LRESULT OnWizardNext() override { return state_.file.certificate ? 0 : -1; }

  private:
    InstallCertificateState& state_;
};

// Selects the container with the certificate's private key, manually or by a search through all containers. Next opens
// the container and checks that one of its keys is the certificate's.
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
    void SelectManually();

    InstallCertificateState& state_;
    ULONGLONG shownAt_ = 0;  // when the progress was last shown: GetTickCount64, milliseconds
};

// Selects the store that the certificate is installed into.
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
    KeySet keySet_ = KeySet::User;
};

// Shows a summary of the installation. Finish links and installs the certificate.
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
    CWizPageInstallCertificateWelcome welcome_;  // not added to the pages: the wizard begins with the file
    CWizPageInstallCertificateSelectFile selectFile_{state_};
    CWizPageInstallCertificateSelectCertificate selectCertificate_{state_};
    CWizPageInstallCertificateSelectContainer selectContainer_{state_};
    CWizPageInstallCertificateSelectStore selectStore_{state_};
    CWizPageInstallCertificateFinish finish_{state_};
};
