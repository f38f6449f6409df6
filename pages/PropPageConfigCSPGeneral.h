// The first page: what is installed, the languages, the panel with administrative rights, the management console.
#pragma once

#include <array>

#include "applet/services/PropPageConfigBase.h"
#include "applet/services/StaticLink.h"
#include "framework/Controls.h"
#include "settings/InstalledProduct.h"
#include "settings/LanguageSettings.h"

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
    void KeepTemplateTexts();
    void ShowProduct();
    void ShowLanguages();
    void SetLinkTargets(const InstalledProduct& product);
    void OfferAdministration();
    void RunAsAdministrator();
    void OpenConsole();

    std::wstring coreVersion_, productVersion_, notice_, productName_;
    LanguageSettings languages_;
    CComboBox userLanguages_, machineLanguages_;
    bool firstActivation_ = true;
    CStaticLink noticeLink_, productLink_, administratorLink_, consoleLink_;
    CStatic shield_;
    UniqueIcon shieldIcon_;
    CToolTipCtrl tips_;
};
