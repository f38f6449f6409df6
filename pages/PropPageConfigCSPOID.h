// The algorithm parameters that the product's provider uses by default, for one provider type at a time.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "pages/ComboParam.h"

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
    void ShowTypes();
    void ShowParameters();

    std::wstring providerName_;
    std::vector<DWORD> types_;  // provider types, in the order of their list
    int type_ = -1;             // position in `types_`
    CComboBox typeBox_;
    std::array<CComboParam, 4> parameters_{
        {kAlgorithmKinds[0], kAlgorithmKinds[1], kAlgorithmKinds[2], kAlgorithmKinds[3]}};
    CCryptProvContext context_;  // empty when it could not be opened
};
