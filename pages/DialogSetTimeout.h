// How long the provider's dialogs wait for the user: for this user, and for all who have no value of their own.
#pragma once

#include "applet/services/LanguageAware.h"
#include "framework/Controls.h"

class CDialogSetTimeout : public CDialogLang {
  public:
    CDialogSetTimeout();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    void OnOK() override;

  private:
    // Positions in the groups of radio buttons.
    enum class SystemChoice { Infinite, Timeout };
    enum class UserChoice { SystemDefault, Infinite, Timeout };

    void SetUpSpins();
    void ReadTimeouts();
    void EnableEdits();
    void EnableEdit(bool enable, UINT edit, CSpinButtonCtrl& spin, int& seconds);

    CSpinButtonCtrl userSpin_, systemSpin_;
    int userSeconds_, systemSeconds_;
    UserChoice userChoice_ = UserChoice::SystemDefault;
    SystemChoice systemChoice_ = SystemChoice::Timeout;
    bool mayWriteUser_ = false, mayWriteSystem_ = false;
};
