#include "pages/PropPageConfigCSPOID.h"

#include <algorithm>

#include "applet/services/SupportLibrary.h"
#include "csp/ProviderParameters.h"
#include "csp/Providers.h"
#include "framework/DataExchange.h"
#include "resources/resource.h"
#include "settings/InstalledProduct.h"

void CComboParam::Attach(HCRYPTPROV provider) {
    ResetContent();
    provider_ = provider;
    const bool usable = provider_ != 0 && parameter_.Read(provider_);
    EnableWithLabel(m_hWnd, usable);
    if (!provider_) return;
    const auto& entries = parameter_.entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        SetItemData(AddString(entries[i].name), static_cast<LPARAM>(i));
    }
    if (usable) SelectLastEqual(entries[static_cast<size_t>(parameter_.choice.stored)].value);
}

// Of equal values the last one in the list is selected. A sorted list has another order than the entries.
void CComboParam::SelectLastEqual(const std::vector<BYTE>& value) noexcept {
    for (int item = 0; item < GetCount(); ++item) {
        const LPARAM position = GetItemData(item);
        if (parameter_.entries[static_cast<size_t>(position)].value != value) continue;
        SetCurSel(item);
        parameter_.choice.Reset(static_cast<int>(position));
    }
}

void CComboParam::ReadSelection() noexcept {
    const int item = GetCurSel();
    parameter_.choice.shown = item < 0 ? -1 : static_cast<int>(GetItemData(item));
}

bool CComboParam::IsModified() noexcept {
    ReadSelection();
    return provider_ != 0 && parameter_.Changed();
}

void CComboParam::Save() noexcept {
    if (IsModified()) static_cast<void>(parameter_.Write(provider_));
}

namespace {

constexpr UINT kParameterBoxes[] = {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION, IDC_ALGORITHMS_SIGNATURE,
                                    IDC_ALGORITHMS_DIFFIE_HELLMAN};
static_assert(kParameterBoxes[3] - kParameterBoxes[0] == 3);  // the message table lists them as a range

constexpr DWORD kNoType = 0xFFFFFFFF;  // no provider has it
constexpr DWORD kProviderTypes[] = {kProviderType75, kProviderType71};

}  // namespace

CPropPageConfigCSPOID::CPropPageConfigCSPOID() : CPropPageConfigBase(IDD_ALGORITHMS) {}

std::span<const Route> CPropPageConfigCSPOID::Routes() const {
    static constexpr Route table[] = {
        on<&CPropPageConfigCSPOID::OnControlChanged>({IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_DIFFIE_HELLMAN},
                                                     CBN_SELCHANGE),
        on<&CPropPageConfigCSPOID::OnTypeSelected>(IDC_ALGORITHMS_TYPE, CBN_SELCHANGE),
    };
    return table;
}

void CPropPageConfigCSPOID::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_ALGORITHMS_TYPE, typeBox_);
    for (size_t i = 0; i < parameters_.size(); ++i) DDX_Control(exchange, kParameterBoxes[i], parameters_[i]);
    DDX_CBIndex(exchange, IDC_ALGORITHMS_TYPE, type_);
}

bool CPropPageConfigCSPOID::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    providerName_ = InstalledProduct().ProviderName();
    ShowTypes();
    type_ = typeBox_.SetCurSel(0);
    ShowParameters();
    return true;
}

void CPropPageConfigCSPOID::ShowTypes() {
    bool leftOut = false;
    for (const DWORD type : kProviderTypes) {
        if (const auto name = ReadProviderTypeName(type)) {
            typeBox_.AddString(*name);
            // A type listed after one that is not registered cannot be opened: no context has type 0.
            types_.push_back(leftOut ? 0 : type);
        } else {
            leftOut = true;
        }
    }
}

void CPropPageConfigCSPOID::OnTypeSelected() {
    UpdateData(true);
    ShowParameters();
}

// Choices that were not saved are lost when another type is selected.
void CPropPageConfigCSPOID::ShowParameters() {
    const auto position = static_cast<size_t>(type_);
    const DWORD type = position < types_.size() ? types_[position] : kNoType;
    // A failure leaves the context empty.
    static_cast<void>(context_.Acquire(kContextForSettings, nullptr, providerName_.c_str(), type));
    for (CComboParam& parameter : parameters_) parameter.Attach(context_.Get());
    OnControlChanged();
    UpdateData(false);
}

bool CPropPageConfigCSPOID::IsPageModified() {
    support_registry_put_section(kAlgorithmSection);  // the rights to a missing section cannot be asked for
    if (!MayWrite(kAlgorithmSection)) {
        for (const UINT box : kParameterBoxes) EnableControl(box, false);
        ExplainDisabled(
            {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION, IDC_ALGORITHMS_SIGNATURE, IDC_ALGORITHMS_DIFFIE_HELLMAN},
            IDS_WHY_RIGHTS);
    }
    if (!context_) return false;
    return std::any_of(parameters_.begin(), parameters_.end(),
                       [](CComboParam& parameter) { return parameter.IsModified(); });
}

// Saving always succeeds: a refusal by the provider is not reported.
SaveResult CPropPageConfigCSPOID::SavePage() {
    if (!context_) return SaveResult::Saved;
    for (CComboParam& parameter : parameters_) parameter.Save();
    return SaveResult::Saved;
}
