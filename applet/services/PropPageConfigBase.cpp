#include "applet/services/PropPageConfigBase.h"

#include <new>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/Handles.h"
#include "framework/PropertySheet.h"
#include "resources/resource.h"

bool CPropPageConfigBase::OnInitDialog() {
    initialised_ = true;
    return CPropertyPageLang::OnInitDialog();
}

bool CPropPageConfigBase::OnApply() {
    if (!UpdateData(true)) return false;
    SaveResult result = SaveResult::Failed;
    try {
        result = SavePage();
    } catch (const std::bad_alloc&) {
        // Reported as any other failure to save.
    }
    if (!m_hWnd) return false;  // the sheet was closed while SavePage showed a question
    if (result == SaveResult::Failed) {
        MessageBoxId(IDS_SAVE_FAILED, MB_ICONERROR);
        return false;
    }
    const bool modified = IsPageModified();
    SetModified(modified);
    // After all pages have applied, the sheet marks every page as unmodified, so the mark is posted to follow that.
    if (modified) ::PostMessageW(::GetParent(m_hWnd), PSM_CHANGED, reinterpret_cast<WPARAM>(m_hWnd), 0);
    if (result == SaveResult::SavedRebuild) GetParentSheet()->EndAfterApply(IDRETRY);
    return CPropertyPageLang::OnApply();
}

void CPropPageConfigBase::OnControlChanged() {
    SetModified(IsPageModified());
}

void CPropPageConfigBase::ExplainDisabled(std::initializer_list<UINT> controls, UINT reason) {
    if (!reasons_.m_hWnd && (reason == 0 || !reasons_.Create(*this))) return;
    const std::wstring text = reason == 0 ? std::wstring() : LoadStringLang(reason);
    for (const UINT control : controls) reasons_.SetTextBehind(*this, control, text);
}

bool CPropPageConfigBase::RebootSystem() {
    UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.put())) return false;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (!LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &privileges.Privileges[0].Luid)) return false;
    // The call succeeds even when the user lacks the privilege; only the last error shows it.
    SetLastError(ERROR_SUCCESS);
    if (!AdjustTokenPrivileges(token.get(), FALSE, &privileges, 0, nullptr, nullptr)) return false;
    if (GetLastError() != ERROR_SUCCESS) return false;
    return ExitWindowsEx(EWX_REBOOT, SHTDN_REASON_FLAG_PLANNED | SHTDN_REASON_MAJOR_APPLICATION |
                                         SHTDN_REASON_MINOR_MAINTENANCE) != FALSE;
}
