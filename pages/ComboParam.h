// CComboParam: a combo box of the values that a provider offers for one of its parameters.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <vector>

#include "framework/Controls.h"
#include "settings/AlgorithmSettings.h"

class CComboParam : public CComboBox {
  public:
    CComboParam(const AlgorithmKind& kind) : parameter_{kind.list, kind.value, {}, {}} {}  // NOLINT: in a table

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
