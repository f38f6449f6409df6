#include "applet/services/ComboParam.h"

#include "applet/services/ParameterEntry.h"
#include "applet/services/Strings.h"

void CComboParam::Attach(ProviderRecord* provider) {
    ResetContent();
    values_.clear();
    stored_ = -1;
    provider_ = provider;
    EnableWindow(provider_ && Fill());
}

bool CComboParam::Fill() {
    Bytes current;
    if (!ReadList() || GetCount() == 0 || !Read(valueParameter_, 0, current)) return false;
    stored_ = 0;
    for (int item = 0; item < GetCount(); ++item) {
        if (values_[static_cast<size_t>(GetItemData(item))] == current) stored_ = item;
    }
    SetCurSel(stored_);
    return true;
}

bool CComboParam::ReadList() {
    Bytes entry;
    if (!Read(listParameter_, CRYPT_FIRST, entry)) return false;
    do {
        AddEntry(std::move(entry));
        entry.clear();
    } while (Read(listParameter_, 0, entry));
    return true;
}

void CComboParam::AddEntry(Bytes entry) {
    ParameterName name;
    if (!ReadParameterName(entry.data(), entry.size(), name)) return;
    const int item =
        AddString(name.stringId ? LoadStringLang(name.stringId) : std::wstring(name.text.begin(), name.text.end()));
    if (item < 0) return;
    SetItemData(item, static_cast<LPARAM>(values_.size()));
    values_.push_back(std::move(entry));
}

bool CComboParam::Read(DWORD parameter, DWORD flags, Bytes& value) {
    DWORD length = 0;
    if (!CryptGetProvParam(provider_->provider, parameter, nullptr, &length, flags)) return false;
    value.resize(length);
    if (!CryptGetProvParam(provider_->provider, parameter, value.data(), &length, flags)) return false;
    value.resize(length);
    provider_->length = length;
    provider_->parameter = parameter;
    return true;
}

bool CComboParam::IsModified() const noexcept {
    return provider_ && stored_ >= 0 && GetCurSel() != stored_;
}

void CComboParam::Save() noexcept {
    if (!IsModified()) return;
    const int item = GetCurSel();
    if (item < 0) return;
    stored_ = item;
    Bytes& value = values_[static_cast<size_t>(GetItemData(item))];
    CryptSetProvParam(provider_->provider, valueParameter_, value.data(), 0);
}
