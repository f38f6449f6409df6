#include "pages/PropPageConfigWLReaders.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "csp/ProductProviders.h"
#include "csp/ProviderParameters.h"
#include "framework/DataExchange.h"
#include "framework/FileDialog.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "settings/KeyReaders.h"
#include "settings/WinlogonSettings.h"

namespace {

constexpr wchar_t kSection[] = L"\\config\\Parameters";
constexpr wchar_t kDefaultReaderEnabled[] = L"\\config\\Parameters\\EnableDefaultReader";
constexpr wchar_t kLogonDisabled[] = L"\\config\\Parameters\\DisableWL";
constexpr wchar_t kDefaultReaderSection[] = L"\\cryptography\\Defaults\\provider\\";
constexpr DWORD kMostReaderName = 64;  // characters of a stored reader name

constexpr UINT kOfControllers[] = {IDC_WINLOGON_CONTROLLER, IDC_WINLOGON_IDENTIFIER, IDC_WINLOGON_EXPORT};

bool ReadReaderName(const std::wstring& path, std::wstring& name) {
    wchar_t text[kMostReaderName + 1] = L"";
    DWORD length = kMostReaderName;
    if (support_registry_get_string(path.c_str(), &length, text) != 0) return false;
    text[kMostReaderName] = L'\0';
    name = text;
    return true;
}

}  // namespace

CPropPageConfigWLReaders::CPropPageConfigWLReaders() : CPropPageConfigBase(IDD_WINLOGON) {}

std::span<const Route> CPropPageConfigWLReaders::Routes() const {
    using Page = CPropPageConfigWLReaders;
    static constexpr Route table[] = {
        on<&Page::OnControlChanged>(IDC_WINLOGON_KDC, BN_CLICKED),
        on<&Page::OnControlChanged>(IDC_WINLOGON_DISABLE, BN_CLICKED),
        on<&Page::OnProviderSelected>(IDC_WINLOGON_CSP, CBN_SELCHANGE),
        on<&Page::OnReaderSelected>(IDC_WINLOGON_READER, CBN_SELCHANGE),
        on<&Page::OnControllerSelected>(IDC_WINLOGON_CONTROLLER, CBN_SELCHANGE),
        on<&Page::OnExport>(IDC_WINLOGON_EXPORT, BN_CLICKED),
        on<&Page::OnFixTemplates>(IDC_WINLOGON_FIX_TEMPLATES, BN_CLICKED),
    };
    return table;
}

void CPropPageConfigWLReaders::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_WINLOGON_CSP, providers_);
    DDX_Control(exchange, IDC_WINLOGON_READER, readers_);
    DDX_Control(exchange, IDC_WINLOGON_CONTROLLER, controllerNames_);
    DDX_Control(exchange, IDC_WINLOGON_IDENTIFIER, identifier_);
    DDX_Check(exchange, IDC_WINLOGON_KDC, state_.now.kdc);
    DDX_Check(exchange, IDC_WINLOGON_DISABLE, state_.now.disabled);
    DDX_CBIndex(exchange, IDC_WINLOGON_CSP, provider_);
    DDX_CBIndex(exchange, IDC_WINLOGON_READER, state_.now.reader);
}

bool CPropPageConfigWLReaders::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    state_.mayWrite = MayWrite(kSection);
    domainController_ = IsDomainController();
    TakeStored(state_, domainController_ ? ReadKdcSetting() : KdcSetting::Unavailable, FindLong(kLogonDisabled, 0) > 0);
    if (!state_.mayWrite || FindLong(kDefaultReaderEnabled, 0) == 0) DisableDefaultReader();
    if (!domainController_) {
        for (const UINT id : kOfControllers) EnableControl(id, false);
    }
    ExplainDisabledControls();
    EnableControl(IDC_WINLOGON_FIX_TEMPLATES, false);  // until the directory has been asked
    EnableControls();
    UpdateData(false);
    return true;
}

// Asking the providers, the readers and the directory takes noticeable time. The page is painted before it, with its
// lists empty.
void CPropPageConfigWLReaders::OnFirstShown() {
    const CWaitCursor wait;
    FillProviders();
    FillReaders();
    if (!m_hWnd) return;
    if (domainController_) FillControllers();
    OnControlChanged();
}

void CPropPageConfigWLReaders::FillProviders() {
    ProductProviders state{.ownDirectoryOnly = true};
    std::wstring name;
    DWORD type = 0;
    int count = 0;
    for (; EnumProductProviders(state, name, type); ++count) {
        if (!domainController_ && !HasImplementationType(name)) continue;
        providers_.AddString(name);
        // The count includes providers that are left out: after one, the others' types go to later items, or nowhere.
        // That is how the page has always chosen the providers that it opens.
        providers_.SetItemData(count, static_cast<LPARAM>(type));
    }
    // Nothing is done with these contexts; a provider may count on being opened.
    for (int item = 0; item < providers_.GetCount(); ++item) OpenProvider(item);
    provider_ = providers_.SetCurSel(0);
    OpenProvider(provider_);
}

void CPropPageConfigWLReaders::OpenProvider(int item) {
    context_.Release();
    const std::wstring name = providers_.GetLBText(item);
    const auto type = static_cast<DWORD>(providers_.GetItemData(item));
    if (!name.empty()) static_cast<void>(context_.Acquire(kContextForSettings, nullptr, name.c_str(), type));
}

// After a listing that broke off, what is the default can't be told: nothing is selected.
void CPropPageConfigWLReaders::FillReaders() {
    readers_.AddString(LoadStringLang(IDS_READER_NOT_SET));
    std::vector<KeyReader> found;
    const bool complete = ListKeyReaders(found);
    for (KeyReader& reader : found) {
        const int item = readers_.AddString(reader.name);
        readers_.SetItemData(item, static_cast<LPARAM>(readerNames_.size()));
        readerNames_.push_back(std::move(reader.storedName));
    }
    if (complete) SelectDefaultReader();
}

std::wstring CPropPageConfigWLReaders::DefaultReaderPath() const {
    return kDefaultReaderSection + providers_.GetLBText(provider_) + L"\\ReaderDefault";
}

void CPropPageConfigWLReaders::SelectDefaultReader() {
    if (providers_.GetLBText(provider_).empty()) {
        DisableDefaultReader();
        ShowReader(0);
        return;
    }
    std::wstring stored;
    if (!ReadReaderName(DefaultReaderPath(), stored)) {
        ShowReader(0);
        return;
    }
    const int item = FindReader(readerNames_, stored);
    ShowReader(item);
    if (item < 0) MessageBoxFormat(IDS_DEFAULT_READER_NOT_FOUND, MB_ICONEXCLAMATION, stored);
}

void CPropPageConfigWLReaders::ShowReader(int item) {
    state_.now.reader = state_.saved.reader = item;
    readers_.SetCurSel(item);
}

void CPropPageConfigWLReaders::OnProviderSelected() {
    UpdateData(true);
    OpenProvider(provider_);
    SelectDefaultReader();
    OnControlChanged();
}

void CPropPageConfigWLReaders::OnReaderSelected() {
    if (readers_.GetCurSel() >= 0) OnControlChanged();
}

void CPropPageConfigWLReaders::OnControlChanged() {
    if (!m_hWnd) return;  // the message before may have ended with the sheet
    UpdateData(true);
    CoupleChecks(state_);
    UpdateData(false);
    EnableControls();
    EnableControl(IDC_WINLOGON_FIX_TEMPLATES, domainController_ && TemplatesNeedRepair());
    CPropPageConfigBase::OnControlChanged();
}

void CPropPageConfigWLReaders::DisableDefaultReader() noexcept {
    for (const UINT id : {IDC_WINLOGON_CSP, IDC_WINLOGON_READER}) EnableControl(id, false);
}

void CPropPageConfigWLReaders::ExplainDisabledControls() {
    if (!domainController_) {
        for (const UINT id : kOfControllers) ExplainDisabled({id}, IDS_WHY_DOMAIN_CONTROLLER);
        ExplainDisabled({IDC_WINLOGON_KDC, IDC_WINLOGON_FIX_TEMPLATES}, IDS_WHY_DOMAIN_CONTROLLER);
    }
    if (state_.mayWrite) return;
    ExplainDisabled({IDC_WINLOGON_CSP_LABEL, IDC_WINLOGON_CSP, IDC_WINLOGON_READER_LABEL, IDC_WINLOGON_READER,
                     IDC_WINLOGON_DISABLE, IDC_WINLOGON_KDC},
                    IDS_WHY_RIGHTS);
}

void CPropPageConfigWLReaders::EnableControls() {
    const WinlogonEnabled enabled = WhatIsEnabled(state_);
    EnableControl(IDC_WINLOGON_KDC, enabled.kdc);
    EnableControl(IDC_WINLOGON_DISABLE, enabled.disabled);
}

// With its label. A disabled control must not keep the focus: the keyboard would be lost.
void CPropPageConfigWLReaders::EnableControl(UINT id, bool enable) noexcept {
    const HWND control = GetDlgItem(id);
    if (!enable && control == GetFocus()) ::SendMessageW(m_hWnd, WM_NEXTDLGCTL, 0, FALSE);
    EnableWithLabel(control, enable);
}

bool CPropPageConfigWLReaders::IsPageModified() {
    return initialised_ && WhatChanged(state_).Any();
}

SaveResult CPropPageConfigWLReaders::SavePage() {
    const WinlogonChanges changes = WhatChanged(state_);
    SaveResult result = SaveResult::Saved;
    if (changes.kdc) {
        if (WriteKdcSetting(state_.now.kdc == BST_CHECKED) == ERROR_SUCCESS) {
            state_.saved.kdc = state_.now.kdc;
        } else {
            result = SaveResult::Failed;
        }
    }
    if (changes.disabled) {
        if (support_registry_put_long(kLogonDisabled, state_.now.disabled == BST_CHECKED ? 1 : 0) == 0) {
            state_.saved.disabled = state_.now.disabled;
        } else {
            result = SaveResult::Failed;
        }
    }
    if (changes.reader) {
        if (!SaveReader()) return SaveResult::Failed;
        state_.saved.reader = state_.now.reader;
    }
    return result;
}

bool CPropPageConfigWLReaders::SaveReader() const {
    const std::wstring path = DefaultReaderPath();
    if (state_.now.reader == 0) {
        support_registry_delete_param(path.c_str());  // there may have been none
        return true;
    }
    const auto position = static_cast<size_t>(readers_.GetItemData(state_.now.reader));
    return position < readerNames_.size() &&
           support_registry_put_string(path.c_str(), readerNames_[position].c_str()) == 0;
}

// --- On domain controllers ---------------------------------------------------------------------------------------

DomainDirectory& CPropPageConfigWLReaders::Directory() {
    return directory_ ? *directory_ : directory_.emplace();
}

bool CPropPageConfigWLReaders::TemplatesNeedRepair() {
    const CWaitCursor wait;
    return Directory().TemplatesNeedRepair();
}

// A domain that doesn't name its controllers is not told of: the controls stay disabled, the KDC's box among them.
void CPropPageConfigWLReaders::FillControllers() {
    if (FAILED(Directory().ListControllers(controllers_))) {
        state_.kdc = KdcSetting::Unavailable;
        for (const UINT id : kOfControllers) EnableControl(id, false);
        return;
    }
    for (const DomainController& controller : controllers_) controllerNames_.AddString(controller.name);
    controllerNames_.SetCurSel(0);
    OnControllerSelected();
}

void CPropPageConfigWLReaders::OnControllerSelected() {
    const auto item = static_cast<size_t>(controllerNames_.GetCurSel());
    if (item < controllers_.size()) identifier_.SetWindowText(ShownIdentifier(controllers_[item]));
}

void CPropPageConfigWLReaders::OnExport() {
    const std::string text = ExportText(controllers_);
    CFileDialog dialog(CFileDialog::Kind::Save, LoadStringLang(IDS_ALL_FILES_FILTER));
    while (dialog.DoModal(m_hWnd) == IDOK) {
        const std::wstring& path = dialog.GetPathName();
        DWORD error = WriteExport(path, text, false);
        if (error == ERROR_FILE_EXISTS) {
            const int answer = MessageBoxFormat(IDS_OVERWRITE_QUESTION, MB_YESNOCANCEL | MB_ICONQUESTION, path);
            if (answer == IDNO) continue;
            if (answer != IDYES) return;
            error = WriteExport(path, text, true);
        }
        if (error != ERROR_SUCCESS) ErrorMessageBox(error);
        return;
    }
}

void CPropPageConfigWLReaders::OnFixTemplates() {
    HRESULT result;
    {
        const CWaitCursor wait;
        result = Directory().RepairTemplates();
    }
    if (FAILED(result)) {
        ErrorMessageBox(static_cast<DWORD>(result));
        return;
    }
    MessageBoxId(IDS_TEMPLATES_UPDATED, MB_ICONINFORMATION);
    OnControlChanged();
}
