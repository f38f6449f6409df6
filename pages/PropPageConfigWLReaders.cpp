#include "pages/PropPageConfigWLReaders.h"

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "csp/ProviderParameters.h"
#include "framework/DataExchange.h"
#include "framework/Wnd.h"
#include "resources/resource.h"

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
    DDX_Control(exchange, IDC_WINLOGON_CSP, providerBox_);
    DDX_Control(exchange, IDC_WINLOGON_READER, readerBox_);
    controllers_.DoDataExchange(exchange);
    DDX_Check(exchange, IDC_WINLOGON_KDC, settings_.kdcUsesProduct.shown);
    DDX_Check(exchange, IDC_WINLOGON_DISABLE, settings_.supportDisabled.shown);
    DDX_CBIndex(exchange, IDC_WINLOGON_CSP, provider_);
    DDX_CBIndex(exchange, IDC_WINLOGON_READER, settings_.reader.shown);
}

bool CPropPageConfigWLReaders::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    settings_.Read();
    if (!settings_.defaultReaderEnabled) DisableDefaultReader();
    if (!settings_.isDomainController) DisableIdentifiers();
    ExplainDisabledControls();
    EnableControl(IDC_WINLOGON_FIX_TEMPLATES, false);  // until the directory has answered
    EnableControls();
    UpdateData(false);
    return true;
}

// Asking the providers, the readers and the directory takes noticeable time, so the page is painted first, with empty
// lists.
void CPropPageConfigWLReaders::OnFirstShown() {
    const CWaitCursor wait;
    ShowProviders();
    ShowReaders();
    if (!m_hWnd) return;  // the sheet ended while the message was open
    // A failure is not reported: the controls are disabled instead.
    if (settings_.isDomainController && !controllers_.ShowControllers()) {
        settings_.kdc = KdcSetting::Unavailable;
        DisableIdentifiers();
    }
    OnControlChanged();
}

void CPropPageConfigWLReaders::ShowProviders() {
    providers_ = ListLogonProviders(settings_.isDomainController);
    for (const Provider& provider : providers_) providerBox_.AddString(provider.name);
    // Each provider is opened once, although only the selected one's context is kept: opening may initialise it.
    for (const Provider& provider : providers_) OpenProvider(provider);
    if (providers_.empty()) return;
    provider_ = providerBox_.SetCurSel(0);
    OpenProvider(providers_.front());
}

// A failure leaves the context empty.
void CPropPageConfigWLReaders::OpenProvider(const Provider& provider) {
    static_cast<void>(context_.Acquire(kContextForSettings, nullptr, provider.name.c_str(), provider.type));
}

std::wstring CPropPageConfigWLReaders::ProviderName() const {
    const auto position = static_cast<size_t>(provider_);
    return position < providers_.size() ? providers_[position].name : std::wstring();
}

// After an incomplete listing the default reader may be missing from the list, so nothing is selected.
void CPropPageConfigWLReaders::ShowReaders() {
    settings_.ListReaders();
    readerBox_.AddString(LoadStringLang(IDS_READER_NOT_SET));
    for (const KeyReader& reader : settings_.readers) readerBox_.AddString(reader.name);
    if (settings_.readersComplete) ShowDefaultReader();
}

void CPropPageConfigWLReaders::ShowDefaultReader() {
    const std::wstring provider = ProviderName();
    if (provider.empty()) DisableDefaultReader();
    const std::wstring missing = settings_.ReadReader(provider);
    readerBox_.SetCurSel(settings_.reader.shown);
    if (settings_.reader.shown == WinlogonSettings::kUnknown) {
        MessageBoxFormat(IDS_DEFAULT_READER_NOT_FOUND, MB_ICONEXCLAMATION, missing);
    }
}

void CPropPageConfigWLReaders::OnProviderSelected() {
    UpdateData(true);
    const auto position = static_cast<size_t>(provider_);
    if (position < providers_.size()) OpenProvider(providers_[position]);
    ShowDefaultReader();
    OnControlChanged();
}

void CPropPageConfigWLReaders::OnReaderSelected() {
    if (readerBox_.GetCurSel() >= 0) OnControlChanged();
}

void CPropPageConfigWLReaders::OnControlChanged() {
    if (!m_hWnd) return;  // the sheet ended while a message was open
    UpdateData(true);
    settings_.ApplyDependencies();
    UpdateData(false);
    EnableControls();
    EnableControl(IDC_WINLOGON_FIX_TEMPLATES, settings_.isDomainController && controllers_.TemplatesNeedRepair());
    CPropPageConfigBase::OnControlChanged();
}

void CPropPageConfigWLReaders::DisableDefaultReader() noexcept {
    for (const UINT id : {IDC_WINLOGON_CSP, IDC_WINLOGON_READER}) EnableControl(id, false);
}

void CPropPageConfigWLReaders::DisableIdentifiers() noexcept {
    for (const UINT id : DomainControllerGroup::IdentifierControls()) EnableControl(id, false);
}

void CPropPageConfigWLReaders::ExplainDisabledControls() {
    if (!settings_.isDomainController) {
        for (const UINT id : DomainControllerGroup::IdentifierControls()) {
            ExplainDisabled({id}, IDS_WHY_DOMAIN_CONTROLLER);
        }
        ExplainDisabled({IDC_WINLOGON_KDC, IDC_WINLOGON_FIX_TEMPLATES}, IDS_WHY_DOMAIN_CONTROLLER);
    }
    if (settings_.mayWrite) return;
    ExplainDisabled({IDC_WINLOGON_CSP_LABEL, IDC_WINLOGON_CSP, IDC_WINLOGON_READER_LABEL, IDC_WINLOGON_READER,
                     IDC_WINLOGON_DISABLE, IDC_WINLOGON_KDC},
                    IDS_WHY_RIGHTS);
}

void CPropPageConfigWLReaders::EnableControls() {
    EnableControl(IDC_WINLOGON_KDC, settings_.MayChangeKdc());
    EnableControl(IDC_WINLOGON_DISABLE, settings_.mayWrite);
}

bool CPropPageConfigWLReaders::IsPageModified() {
    return settings_.Changed();
}

SaveResult CPropPageConfigWLReaders::SavePage() {
    return settings_.Write(ProviderName()) ? SaveResult::Saved : SaveResult::Failed;
}

void CPropPageConfigWLReaders::OnControllerSelected() {
    controllers_.OnControllerSelected();
}

void CPropPageConfigWLReaders::OnExport() {
    controllers_.Export(m_hWnd);
}

void CPropPageConfigWLReaders::OnFixTemplates() {
    if (controllers_.RepairTemplates()) OnControlChanged();
}
