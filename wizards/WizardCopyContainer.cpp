#include "wizards/WizardCopyContainer.h"

#include "applet/services/ErrorText.h"
#include "applet/services/MessageBoxes.h"
#include "csp/CryptProvContext.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

namespace {

// The message shows Win32 codes in the form of an HRESULT.
void ShowCopyFailure(UINT text, const std::wstring& container, Failure failure) {
    MessageBoxFormat(text, MB_ICONEXCLAMATION, container,
                     Insert::AsItIs(ErrorMessageText(static_cast<DWORD>(failure.AsHresult()))));
}

}  // namespace

CWizPageCopyContainerSelectSrcContainer::CWizPageCopyContainerSelectSrcContainer(CopyContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_COPY, .subtitle = IDS_SELECT_TO_COPY}, state), state_(state) {}

LRESULT CWizPageCopyContainerSelectSrcContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    ContainerCopy& copy = state_.copy;
    static_cast<void>(copy.Clear());  // of an earlier source; a handle that can't be closed is no reason to stop
    const ClientWindow client(m_hWnd);
    CCryptProvContext source;
    if (!OpenSource(source)) return -1;
    Result<> read;
    {
        const CWaitCursor wait;
        read = ReadSourceContainer(source.Get(), copy);
        source.Release();
    }
    if (!read) {
        static_cast<void>(copy.Clear());  // the failure of the reading is shown
        const bool mayNotExport = read.Failed().Is(static_cast<DWORD>(NTE_BAD_KEY_STATE));
        ShowCopyFailure(mayNotExport ? IDS_COPY_NOT_EXPORTABLE : IDS_COPY_FAILED, ContainerName(), read.Failed());
        return -1;
    }
    state_.source = SelectedProvider();
    return 0;
}

// Opens the container, and the verification context of the copy on the same provider.
bool CWizPageCopyContainerSelectSrcContainer::OpenSource(CCryptProvContext& source) {
    if (!AcquireSelectedContainer(source, 0)) return false;
    const Provider provider = SelectedProvider();
    const Result<> opened = state_.copy.OpenVerification(provider.name.c_str(), provider.type);
    if (!opened) ShowAccessFailure(opened.Failed());
    return static_cast<bool>(opened);
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
    SelectProvider(state_.source.name);
    return CWizPageSelectContainer::OnSetActive();
}

// After a failure the incomplete container remains, and what was read is kept, so that the user may name another copy.
bool CWizPageCopyContainerSelectDestContainer::OnWizardFinish() {
    if (!CWizPageSelectContainer::OnWizardFinish()) return false;
    const ClientWindow client(m_hWnd);
    CCryptProvContext target;
    if (!AcquireSelectedContainer(target, kCopyTargetFlags)) return false;
    Result<> written;
    {
        const CWaitCursor wait;
        written = WriteTargetContainer(state_.copy, target.Get());
    }
    if (!written) {
        ShowCopyFailure(IDS_COPY_FAILED, ContainerName(), written.Failed());
        return false;
    }
    static_cast<void>(state_.copy.Clear());  // the copy is complete, whatever closing a handle returns
    return true;
}

CWizardCopyContainer::CWizardCopyContainer(HWND parent) : CPropertySheetWizardBase(parent, IDS_WIZARD_COPY) {
    AddPage(source_);
    AddPage(target_);
}
