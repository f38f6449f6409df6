// Deletes the saved passwords of private keys, or only the records of removable carriers.
#pragma once

#include <array>

#include "applet/services/LanguageAware.h"

class CDialogDeletePasswords : public CDialogLang {
  public:
    CDialogDeletePasswords();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    void OnOK() override;

  private:
    // What is deleted for the user, and for the computer.
    struct Choice {
        bool passwords = false;
        bool mediaRecords = false;
        bool mayDeleteMediaRecords = false;  // there are some, and the user has the right
    };

    void OnBoxClicked();
    void ShowChoices();

    std::array<Choice, 2> choices_{};
};
