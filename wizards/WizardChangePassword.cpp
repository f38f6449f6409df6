#include "wizards/WizardChangePassword.h"

#include "applet/services/MessageBoxes.h"
#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

namespace {

// The record that kParameterChangePassword expects.
struct PasswordRequest {
    BYTE kind;
    const void* value;
};
static_assert(sizeof(PasswordRequest) == 16);

constexpr BYTE kByDialog = 4;  // the provider asks for both passwords; the record has no value

Result<> ChangePassword(HCRYPTPROV container) noexcept {
    PasswordRequest request;
    ZeroMemory(&request, sizeof request);  // including the padding
    request.kind = kByDialog;
    const CWaitCursor wait;
    return Try(CryptSetProvParam(container, kParameterChangePassword, reinterpret_cast<const BYTE*>(&request), 0));
}

}  // namespace

CWizPageChangePasswordSelectContainer::CWizPageChangePasswordSelectContainer(ChangePasswordState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHANGE_PASSWORD, .subtitle = IDS_SELECT_TO_CHANGE_PASSWORD},
                              state),
      state_(state) {}

bool CWizPageChangePasswordSelectContainer::OnContainerSelected() {
    if (!AcquireSelectedContainer(state_.container, 0)) return false;
    const Result<> changed = ChangePassword(state_.container.Get());
    if (!changed) ErrorMessageBox(changed.Failed().code);
    return static_cast<bool>(changed);
}

CWizardChangePassword::CWizardChangePassword(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHANGE_PASSWORD) {
    AddPage(select_);
}
