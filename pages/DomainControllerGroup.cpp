#include "pages/DomainControllerGroup.h"

#include "applet/services/ErrorText.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "framework/DataExchange.h"
#include "framework/FileDialog.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

std::span<const UINT> DomainControllerGroup::IdentifierControls() noexcept {
    static constexpr UINT controls[] = {IDC_WINLOGON_CONTROLLER, IDC_WINLOGON_IDENTIFIER, IDC_WINLOGON_EXPORT};
    return controls;
}

void DomainControllerGroup::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_WINLOGON_CONTROLLER, names_);
    DDX_Control(exchange, IDC_WINLOGON_IDENTIFIER, identifier_);
}

DomainDirectory& DomainControllerGroup::Directory() {
    return directory_ ? *directory_ : directory_.emplace();
}

bool DomainControllerGroup::ShowControllers() {
    if (!Directory().ListControllers().Into(controllers_)) return false;
    for (const DomainController& controller : controllers_) names_.AddString(controller.name);
    names_.SetCurSel(0);
    OnControllerSelected();
    return true;
}

void DomainControllerGroup::OnControllerSelected() {
    const auto item = static_cast<size_t>(names_.GetCurSel());
    if (item < controllers_.size()) identifier_.SetWindowText(ShownIdentifier(controllers_[item]));
}

void DomainControllerGroup::Export(HWND owner) {
    const std::string text = ExportText(controllers_);
    CFileDialog dialog(CFileDialog::Kind::Save, LoadStringLang(IDS_ALL_FILES_FILTER));
    while (dialog.DoModal(owner) == IDOK) {
        const std::wstring& path = dialog.GetPathName();
        Result<> written = WriteExport(path, text, false);
        if (!written && written.Failed().Is(ERROR_FILE_EXISTS)) {
            const int answer = MessageBoxFormat(IDS_OVERWRITE_QUESTION, MB_YESNOCANCEL | MB_ICONQUESTION, path);
            if (answer == IDNO) continue;
            if (answer != IDYES) return;
            written = WriteExport(path, text, true);
        }
        if (!written) ErrorMessageBox(written.Failed().code);
        return;
    }
}

bool DomainControllerGroup::TemplatesNeedRepair() {
    const CWaitCursor wait;
    return Directory().TemplatesNeedRepair();
}

bool DomainControllerGroup::RepairTemplates() {
    const Result<> repaired = [&] {
        const CWaitCursor wait;
        return Directory().RepairTemplates();
    }();
    if (!repaired) {
        ErrorMessageBox(repaired.Failed().code);
        return false;
    }
    MessageBoxId(IDS_TEMPLATES_UPDATED, MB_ICONINFORMATION);
    return true;
}
