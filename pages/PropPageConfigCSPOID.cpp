#include "pages/PropPageConfigCSPOID.h"

#include <algorithm>

#include "applet/services/SupportLibrary.h"
#include "csp/ProviderParameters.h"
#include "framework/DataExchange.h"
#include "framework/Registry.h"
#include "resources/resource.h"
#include "settings/InstalledProduct.h"

namespace {

constexpr wchar_t kSection[] = L"\\config\\oid";  // where the provider keeps the choices
constexpr UINT kBoxes[] = {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION, IDC_ALGORITHMS_SIGNATURE,
                           IDC_ALGORITHMS_DIFFIE_HELLMAN};
static_assert(kBoxes[3] - kBoxes[0] == 3);  // the message table takes them as a range

constexpr wchar_t kTypes[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\";

struct ProviderType {
    const wchar_t* key;
    DWORD type;
};
constexpr ProviderType kProviderTypes[] = {{L"Type 075", kProviderType75}, {L"Type 071", kProviderType71}};

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
    DDX_Control(exchange, IDC_ALGORITHMS_TYPE, types_);
    for (size_t i = 0; i < parameters_.size(); ++i) DDX_Control(exchange, kBoxes[i], parameters_[i]);
    DDX_CBIndex(exchange, IDC_ALGORITHMS_TYPE, type_);
}

bool CPropPageConfigCSPOID::OnInitDialog() {
    CPropPageConfigBase::OnInitDialog();
    providerName_ = InstalledProduct().ProviderName();
    ListTypes();
    type_ = types_.SetCurSel(0);
    ShowType();
    return true;
}

void CPropPageConfigCSPOID::ListTypes() {
    int item = 0;
    for (const ProviderType& provider : kProviderTypes) {
        if (const auto name = ReadRegistryText(HKEY_LOCAL_MACHINE, kTypes + std::wstring(provider.key), L"TypeName")) {
            types_.AddString(*name);
            // The second type is marked as such only in the second place: without the first it is shown, but no
            // context can be had for it.
            types_.SetItemData(item, static_cast<LPARAM>(provider.type));
        }
        ++item;
    }
}

void CPropPageConfigCSPOID::OnTypeSelected() {
    UpdateData(true);
    ShowType();
}

// A choice that wasn't saved is lost with the type it was made for.
void CPropPageConfigCSPOID::ShowType() {
    AcquireContext();
    for (CComboParam& parameter : parameters_) parameter.Attach(context_ ? &record_ : nullptr);
    OnControlChanged();
    UpdateData(false);
}

void CPropPageConfigCSPOID::AcquireContext() {
    context_.Release();
    const auto type = static_cast<DWORD>(types_.GetItemData(type_));
    static_cast<void>(
        context_.Acquire(kContextForSettings, nullptr, providerName_.c_str(), type));  // empty after a failure
    record_ = {context_.Get()};
}

bool CPropPageConfigCSPOID::IsPageModified() {
    support_registry_put_section(kSection);  // the rights to a missing section can't be asked for
    if (!MayWrite(kSection)) {
        for (CComboParam& parameter : parameters_) parameter.EnableWindow(false);
        ExplainDisabled(
            {IDC_ALGORITHMS_HASH, IDC_ALGORITHMS_ENCRYPTION, IDC_ALGORITHMS_SIGNATURE, IDC_ALGORITHMS_DIFFIE_HELLMAN},
            IDS_WHY_RIGHTS);
    }
    if (!context_) return false;
    return std::any_of(parameters_.begin(), parameters_.end(),
                       [](const CComboParam& parameter) { return parameter.IsModified(); });
}

// What the provider says to a choice isn't asked, so saving always succeeds.
SaveResult CPropPageConfigCSPOID::SavePage() {
    if (!context_) return SaveResult::Saved;
    for (CComboParam& parameter : parameters_) parameter.Save();
    return SaveResult::Saved;
}
