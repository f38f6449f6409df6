// CWizPageSelectContainer: the page on which every wizard lets the user name a container: typed, picked in the
// provider's own dialog, or found through a certificate that links to it.
#pragma once

#include <windows.h>

#include <vector>

#include "csp/ContainerSearch.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "wizards/WizardBase.h"

class CWizPageSelectContainer : public CWizardPageBase {
  public:
    struct Options {
        UINT caption;  // string ids
        UINT subtitle;
        bool byCertificate = true;
        bool browse = true;
        bool ownProviders = true;  // only those whose library lies in the panel's own directory
    };

    // `state` is the wizard's and must outlive the page.
    CWizPageSelectContainer(const Options& options, WizardState& state);

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;

    // Derived pages call these first, and act only when they let the user go on.
    LRESULT OnWizardNext() override;
    bool OnWizardFinish() override;

    // Opens the container that the page names, with these flags. On failure the user has been told.
    bool AcquireSelectedContainer(CCryptProvContext& context, DWORD flags);

    // Tells the user that the container can't be opened.
    void ShowAccessFailure(DWORD error) const;

    // The selected provider.
    std::wstring ProviderName() const;
    DWORD ProviderType() const;

    // The providers of the list, in its order.
    std::vector<SearchedProvider> Providers() const;
    int SelectedProvider() const noexcept { return provider_; }  // its position when the controls were last taken

    KeySet SelectedKeySet() const noexcept { return keySet_ > 0 ? KeySet::Computer : KeySet::User; }

    // Shows this container in place of what the page names; the provider by its position.
    void ShowContainer(std::wstring name, int provider);

    // The container that is being looked into takes the place of the named one, on the page when it is shown.
    void TakeCandidate(const std::wstring& name) { containerName_ = name; }
    void ShowCandidate();

    // Empties the name and takes the other controls as they are.
    void ClearName();

    // Whether the user may name a container and choose its provider; whether he may choose whose it is.
    void EnableChoice(bool enable);
    void EnableOwner(bool enable);

    // Selects the provider of exactly this name; the first one when there is none.
    void SelectProvider(const std::wstring& name);

    // Offers Next or Finish when there is a name, Back when there is a page to go back to.
    void UpdateWizardButtons();

    const std::wstring& ContainerName() const noexcept { return containerName_; }

    void OnBrowse();
    void OnByCertificate();

  private:
    bool FillProviders();  // false when there is none
    bool TakeName();       // false when there is no name, or none that can be taken
    DWORD KeySetFlag() const noexcept;
    bool AcquireSelectedProvider(CCryptProvContext& context, DWORD flags, const wchar_t* container);
    void ShowFound();

    Options options_;
    WizardState& state_;
    bool mayUseComputer_ = false;
    CWnd byCertificate_, browse_, user_, computer_, name_;
    CComboBox providers_;  // an item's data is the provider's type
    std::wstring containerName_;
    int keySet_ = -1;    // position in the group of radio buttons
    int provider_ = -1;  // position in the list
};
