// The algorithm parameters that the product's provider uses by default, for one provider type at a time.
#pragma once

#include <array>
#include <optional>

#include "applet/services/ComboParam.h"
#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"

class CPropPageConfigCSPOID : public CPropPageConfigBase {
  public:
    CPropPageConfigCSPOID();

  protected:
    void DoDataExchange(CDataExchange* exchange) override;
    std::span<const Route> Routes() const override;
    bool OnInitDialog() override;
    bool IsPageModified() override;
    SaveResult SavePage() override;

  private:
    void OnTypeSelected();
    void ListTypes();
    void ShowType();
    void AcquireContext();

    std::wstring providerName_;
    CComboBox types_;  // an item's data is its provider type
    int type_ = -1;    // the item selected
    // Hash, encryption, signature, Diffie-Hellman: the provider's lists, and its values.
    std::array<CComboParam, 4> parameters_{{{103, 92}, {104, 93}, {105, 94}, {106, 95}}};
    CCryptProvContext context_;  // empty when the provider can't be opened
    ProviderRecord record_;
};
