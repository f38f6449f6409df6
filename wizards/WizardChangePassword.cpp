#include "wizards/WizardChangePassword.h"

#include "applet/services/MessageBoxes.h"
#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

namespace {

// What kParameterChangePassword takes.
struct PasswordRequest {
    BYTE kind;
    const void* value;
};
static_assert(sizeof(PasswordRequest) == 16);

constexpr BYTE kByDialog = 4;  // the provider asks for both passwords; nothing is given

Outcome ChangePassword(HCRYPTPROV container) noexcept {
    PasswordRequest request;
    ZeroMemory(&request, sizeof request);  // the bytes between the two as well
    request.kind = kByDialog;
    const CWaitCursor wait;
    return Taken(CryptSetProvParam(container, kParameterChangePassword, reinterpret_cast<const BYTE*>(&request), 0));
}

}  // namespace

CWizPageChangePasswordSelectContainer::CWizPageChangePasswordSelectContainer(ChangePasswordState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHANGE_PASSWORD, .subtitle = IDS_SELECT_TO_CHANGE_PASSWORD},
                              state),
      state_(state) {}

bool CWizPageChangePasswordSelectContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return false;
    const ClientWindow client(m_hWnd);
    if (!AcquireSelectedContainer(state_.container, 0)) return false;
    const Outcome changed = ChangePassword(state_.container.Get());
    if (!changed.done) ErrorMessageBox(changed.error);
    return changed.done;
}

CWizardChangePassword::CWizardChangePassword(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHANGE_PASSWORD) {
    AddPage(select_);
}
