#include "applet/services/ComboParam.h"

#include <algorithm>
#include <utility>

#include "applet/services/ParameterEntry.h"
#include "applet/services/Strings.h"

namespace {

// More than any provider offers. They end a list that would never end by itself.
constexpr std::size_t kMostEntries = 1000;
constexpr DWORD kMostBytes = 0x10000;  // of one value

}  // namespace

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
    // The read of an entry without bytes only asks for the length again, so it doesn't go on to the next one.
    for (std::size_t read = 0; read < kMostEntries && !entry.empty(); ++read) {
        AddEntry(std::exchange(entry, {}));
        if (!Read(listParameter_, 0, entry)) break;
    }
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
    if (length > kMostBytes) return false;
    value.resize(length);
    if (!CryptGetProvParam(provider_->provider, parameter, value.data(), &length, flags)) return false;
    value.resize(std::min<std::size_t>(length, value.size()));
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
