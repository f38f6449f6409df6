// The first page: what is installed, the languages, the panel with administrative rights, the management console.
#pragma once

#include <array>

#include "applet/services/PropPageConfigBase.h"
#include "applet/services/StaticLink.h"
#include "framework/Controls.h"
#include "settings/InstalledProduct.h"

class CPropPageConfigCSPGeneral : public CPropPageConfigBase, private ILinkHandler {
  public:
    CPropPageConfigCSPGeneral();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool OnSetActive() override;
    void OnFirstShown() override;
    bool IsPageModified() override;
    SaveResult SavePage() override;

  private:
    void OnLinkClicked(HWND link) override;
    void OnLanguageSelected();

    std::array<CStaticLink*, 4> Links() noexcept;
    void FitLinks();
    void TakeTemplateTexts();
    void WarnOfInterception();
    void ShowProduct();
    void LoadLanguages();
    void SetLinkTargets(const InstalledProduct& product);
    void OfferAdministration();
    void RunAsAdministrator();
    void OpenConsole();
    bool SaveUserLanguage();

    std::wstring coreVersion_, productVersion_, notice_, productName_;
    CComboBox userLanguages_, machineLanguages_;
    int userChoice_ = 0;     // position in kUserLanguages
    int machineChoice_ = 0;  // position in kMachineLanguages
    // Language ids. 0: not set; -1 (the user's) and 0 (the machine's): also a value that isn't a choice. What may not
    // be written counts as what is shown.
    LONG storedUser_ = 0;
    LONG storedMachine_ = 0;
    bool mayWriteConfig_ = false;
    bool mayWriteLocal_ = false;
    bool forceModified_ = false;  // a stored value was missing or invalid: the first activation offers Apply
    bool firstActivation_ = true;
    CStaticLink noticeLink_, productLink_, administratorLink_, consoleLink_;
    CStatic shield_;
    UniqueIcon shieldIcon_;
    CToolTipCtrl tips_;
};
