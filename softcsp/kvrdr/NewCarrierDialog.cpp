#include "softcsp/kvrdr/NewCarrierDialog.h"

#include <iterator>

#include "softcsp/common/Carriers.h"
#include "softcsp/dialogs/ModuleText.h"
#include "softcsp/kvrdr/resource.h"

namespace softcsp {
namespace {

constexpr int kLongest = 32;  // characters of a name

}  // namespace

NewCarrierDialog::NewCarrierDialog(std::wstring& name) : Dialog(IDD_NEW_CARRIER), name_(name) {}

HWND NewCarrierDialog::OnInit() {
    SendMessageW(Item(IDC_NAME), EM_LIMITTEXT, kLongest, 0);
    return Item(IDC_NAME);
}

bool NewCarrierDialog::OnOk() {
    wchar_t typed[kLongest + 2];  // room to see that a name is too long
    GetWindowTextW(Item(IDC_NAME), typed, static_cast<int>(std::size(typed)));
    const DWORD result = AddCarrier({.name = typed, .removable = true});
    if (result == ERROR_SUCCESS) {
        name_ = typed;
        return true;
    }
    Tell(OwnString(result == ERROR_ALREADY_EXISTS ? IDS_NAME_TAKEN
                   : result == ERROR_INVALID_NAME ? IDS_NAME_WRONG
                                                  : IDS_NOT_SAVED));
    SetFocus(Item(IDC_NAME));
    SendMessageW(Item(IDC_NAME), EM_SETSEL, 0, -1);
    return false;
}

}  // namespace softcsp
