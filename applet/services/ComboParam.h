// CComboParam: a combo box of the values that a provider offers for one of its parameters.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <vector>

#include "framework/Controls.h"

// An open provider as the parameter combo boxes use it.

struct ProviderRecord {
    HCRYPTPROV provider = 0;  // not owned
    DWORD length = 0;         // of the value read last, in bytes
    DWORD parameter = 0;      // whose value that was
};

class CComboParam : public CComboBox {
  public:
    // The provider parameter that lists the values, and the one that holds the current value.
    CComboParam(DWORD listParameter, DWORD valueParameter) noexcept
        : listParameter_(listParameter), valueParameter_(valueParameter) {}

    // Shows the values of a provider (not owned; it must outlive the attachment). Without one, or when it offers no
    // values that have a name, the box is disabled and saves nothing.
    void Attach(ProviderRecord* provider);

    // Whether another value is selected than the provider had.
    bool IsModified() const noexcept;

    // Writes the selected value to the provider if it is another one. Whether the provider takes it is not asked.
    void Save() noexcept;

  private:
    using Bytes = std::vector<BYTE>;

    bool Fill();
    bool Read(DWORD parameter, DWORD flags, Bytes& value);
    bool ReadList();
    void AddEntry(Bytes entry);

    DWORD listParameter_;
    DWORD valueParameter_;
    ProviderRecord* provider_ = nullptr;
    std::vector<Bytes> values_;  // a list item's data is its value's position here
    int stored_ = -1;            // the item that was selected when the list was filled
};
