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
    enum SystemChoice { kSystemInfinite, kSystemTimeout };
    enum UserChoice { kUserDefault, kUserInfinite, kUserTimeout };

    void SetUpEdits();
    void ReadSystem();
    void ReadUser();
    void EnableEdits();
    void EnableEdit(int radio, int edit, int spin, int& seconds);
    void SaveSystem() const;
    void SaveUser() const;

    CSpinButtonCtrl userSpin_, systemSpin_;
    int userSeconds_, systemSeconds_;
    int userChoice_ = kUserDefault, systemChoice_ = kSystemTimeout;
    bool mayWriteUser_ = false, mayWriteSystem_ = false;
};
