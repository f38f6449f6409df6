#include "wizards/WizardCopyContainer.h"

#include "applet/services/ErrorText.h"
#include "applet/services/MessageBoxes.h"
#include "csp/CryptProvContext.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

namespace {

void ShowCopyFailure(UINT text, const std::wstring& container, HRESULT result) {
    MessageBoxFormat(text, MB_ICONEXCLAMATION, container, Insert::AsItIs(ErrorMessageText(static_cast<DWORD>(result))));
}

}  // namespace

CWizPageCopyContainerSelectSrcContainer::CWizPageCopyContainerSelectSrcContainer(CopyContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_COPY, .subtitle = IDS_SELECT_TO_COPY}, state), state_(state) {}

LRESULT CWizPageCopyContainerSelectSrcContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    ContainerCopy& copy = state_.copy;
    copy.Clear();
    const ClientWindow client(m_hWnd);
    CCryptProvContext source;
    if (!OpenSource(source)) return -1;
    HRESULT result = S_OK;
    {
        const CWaitCursor wait;
        result = ReadSourceContainer(source.Get(), copy);
        source.Release();
    }
    if (FAILED(result)) {
        copy.Clear();
        ShowCopyFailure(result == NTE_BAD_KEY_STATE ? IDS_COPY_NOT_EXPORTABLE : IDS_COPY_FAILED, ContainerName(),
                        result);
        return -1;
    }
    copy.keySet = state_.keySet;
    copy.providerName = ProviderName();
    copy.providerType = ProviderType();
    return 0;
}

// With the context of the copy, on the same provider.
bool CWizPageCopyContainerSelectSrcContainer::OpenSource(CCryptProvContext& source) {
    if (!AcquireSelectedContainer(source, 0)) return false;
    const Outcome opened = state_.copy.OpenVerification(ProviderName().c_str(), ProviderType());
    if (!opened.done) ShowAccessFailure(opened.error);
    return opened.done;
}

CWizPageCopyContainerSelectDestContainer::CWizPageCopyContainerSelectDestContainer(CopyContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_COPY,
                               .subtitle = IDS_SELECT_COPY_TARGET,
                               .byCertificate = false,
                               .browse = false,
                               .ownProviders = false},
                              state),
      state_(state) {}

bool CWizPageCopyContainerSelectDestContainer::OnSetActive() {
    SelectProvider(state_.copy.providerName);
    return CWizPageSelectContainer::OnSetActive();
}

// What was made of the new container stays when the rest fails, and so does what was read: the user may name another.
bool CWizPageCopyContainerSelectDestContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return false;
    const ClientWindow client(m_hWnd);
    CCryptProvContext target;
    if (!AcquireSelectedContainer(target, kCopyTargetFlags)) return false;
    HRESULT result = S_OK;
    {
        const CWaitCursor wait;
        result = WriteTargetContainer(state_.copy, target.Get());
    }
    if (FAILED(result)) {
        ShowCopyFailure(IDS_COPY_FAILED, ContainerName(), result);
        return false;
    }
    state_.copy.Clear();
    return true;
}

CWizardCopyContainer::CWizardCopyContainer(HWND parent) : CPropertySheetWizardBase(parent, IDS_WIZARD_COPY) {
    AddPage(source_);
    AddPage(target_);
}
