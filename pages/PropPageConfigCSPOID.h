// The algorithm parameters that the product's provider uses by default, for one provider type at a time.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "applet/services/PropPageConfigBase.h"
#include "csp/CryptProvContext.h"
#include "framework/Controls.h"
#include "settings/AlgorithmSettings.h"

// A combo box of the values that a provider offers for one of its parameters.
class CComboParam : public CComboBox {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor): the page's boxes are made from the table of kinds.
    CComboParam(const AlgorithmKind& kind) : parameter_{kind.list, kind.value, {}, {}} {}

    // Shows the values of a provider (0: none), whose handle is not owned and must outlive the attachment. Without a
    // provider, or when it offers no values that have a name, the box is disabled and saves nothing.
    void Attach(HCRYPTPROV provider);

    // Whether another value is selected than the provider had.
    bool IsModified() noexcept;

    // Writes the selected value to the provider if it is another one. A refusal is ignored.
    void Save() noexcept;

  private:
    void SelectLastEqual(const std::vector<BYTE>& value) noexcept;
    void ReadSelection() noexcept;

    HCRYPTPROV provider_ = 0;
    AlgorithmParameter parameter_;  // an item's data is its position in the entries
};

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
