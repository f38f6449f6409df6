#include "pages/ComboParam.h"

void CComboParam::Attach(HCRYPTPROV provider) {
    ResetContent();
    provider_ = provider;
    const bool usable = provider_ != 0 && parameter_.Read(provider_);
    EnableWindow(usable);
    if (!provider_) return;
    const auto& entries = parameter_.entries;
    for (size_t i = 0; i < entries.size(); ++i) {
        SetItemData(AddString(entries[i].name), static_cast<LPARAM>(i));
    }
    for (int item = 0; item < GetCount(); ++item) {
        if (GetItemData(item) == parameter_.choice.stored) SetCurSel(item);
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
