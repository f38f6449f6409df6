// CWizPageSelectContainer, the wizard page on which the user selects a container.
#pragma once

#include <windows.h>

#include <vector>

#include "csp/CryptProvContext.h"
#include "csp/Providers.h"
#include "framework/Controls.h"
#include "framework/Result.h"
#include "wizards/WizardBase.h"

// The user types the container's name, chooses it in the provider's own dialog (Browse), or chooses a certificate that
// has a link to it (By certificate). The selection consists of the name, the provider and the key set. Each wizard
// derives its page and does its work in OnWizardNext or OnWizardFinish.
class CWizPageSelectContainer : public CWizardPageBase {
  public:
    struct Options {
        UINT caption;  // string ids
        UINT subtitle;
        bool byCertificate = true;  // whether the page shows these buttons
        bool browse = true;
        bool ownProviders = true;  // list only providers whose library is in the panel's own directory
    };

    // `state` belongs to the wizard and must outlive the page.
    CWizPageSelectContainer(const Options& options, WizardState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;

    // Read the selection. Derived pages call these first, and continue only if they return 0 or true.
    LRESULT OnWizardNext() override;
    bool OnWizardFinish() override;

    // Opens the selected container with these flags, or shows why it can't be opened and returns false.
    bool AcquireSelectedContainer(CCryptProvContext& context, DWORD flags);

    // Shows that the selected container can't be opened.
    void ShowAccessFailure(Failure failure) const;

    const std::vector<Provider>& Providers() const noexcept { return providers_; }  // in the order of the list
    Provider SelectedProvider() const;                                              // empty when there is none
    KeySet SelectedKeySet() const noexcept { return keySet_; }

    // Selects and shows the container of this name of the selected provider.
    void ShowContainer(std::wstring name);

    // During a search: sets the name of the container that is being examined, and shows it.
    void SetCandidate(const std::wstring& name) { containerName_ = name; }
    void ShowCandidate();

    // Empties the name, and reads the other controls.
    void ClearName();

    // Enable or disable the controls for the name and the provider, and those for the key set.
    void EnableSelection(bool enable);
    void EnableKeySet(bool enable);

    // Selects the provider of exactly this name; the first one when there is none.
    void SelectProvider(const std::wstring& name);

    // Enables Next, or Finish on the last page, when there is a name; Back except on the first page.
    void UpdateWizardButtons();

    const std::wstring& ContainerName() const noexcept { return containerName_; }

    void OnBrowse();
    void OnByCertificate();

  private:
    bool FillProviders();  // false when there is none
    // Reads the controls, and keeps the key set in the wizard's state. False without a valid name.
    bool ReadSelection();
    Result<> AcquireSelectedProvider(CCryptProvContext& context, DWORD flags, const wchar_t* container);

    Options options_;
    WizardState& state_;
    bool mayUseComputer_ = false;
    CWnd byCertificate_, browse_, user_, computer_, name_;
    CComboBox providerList_;
    std::vector<Provider> providers_;
    std::wstring containerName_;
    KeySet keySet_ = KeySet::User;
    int provider_ = 0;  // position in the list
};
