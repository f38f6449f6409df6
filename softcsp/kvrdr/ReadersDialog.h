// The window that lists the carriers and changes the list.
#pragma once

#include <string>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/dialogs/Dialog.h"

namespace softcsp {

class ReadersDialog final : public Dialog {
  public:
    ReadersDialog();

  private:
    HWND OnInit() override;
    void OnCommand(UINT id) override;
    void OnNotify(const NMHDR& header) override;

    // Reads the carriers anew, lists them and chooses the one of this name, if there is any.
    void Refresh(const std::wstring& chosen);
    void EnableButtons() const;
    const Carrier* Chosen() const;  // nullptr when none is
    void Plug(Carrier carrier, bool present);
    void Remove(const std::wstring& name);
    // The list is shown as it is now, whether the change succeeded or not.
    void Report(DWORD result, const std::wstring& chosen);

    std::vector<Carrier> carriers_;  // as listed; rows hold indices into it
};

}  // namespace softcsp
