// Asks for a new carrier's name and adds it.
#pragma once

#include <string>

#include "softcsp/dialogs/Dialog.h"

namespace softcsp {

class NewCarrierDialog final : public Dialog {
  public:
    // `name` takes the carrier that was added.
    explicit NewCarrierDialog(std::wstring& name);

  private:
    HWND OnInit() override;
    bool OnOk() override;

    std::wstring& name_;
};

}  // namespace softcsp
