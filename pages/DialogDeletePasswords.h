// Deletes the saved passwords of private keys, or only what is noted of removable carriers.
#pragma once

#include "applet/services/LanguageAware.h"

class CDialogDeletePasswords : public CDialogLang {
  public:
    CDialogDeletePasswords();

  protected:
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    void OnOK() override;

  private:
    void Couple();

    // Of the user and the computer: whether there are records of removable carriers, which may be deleted.
    bool media_[2]{};
};
