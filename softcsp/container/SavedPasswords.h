// The contents of "\local\KeyDevices\passwords" and "\global\KeyDevices\passwords" in the store: a subsection for each
// container whose password is saved, "TYPE/CARRIER/NAME" with the provider's type first ("#" and a hash replace a name
// that is too long), and an empty subsection for each removable carrier on which containers were used. Win32 codes.
#pragma once

#include <windows.h>

#include <optional>

#include "softcsp/container/ContainerStore.h"

namespace softcsp {

class SavedPasswords {
  public:
    explicit SavedPasswords(const ContainerStore& store) : owner_(store.KeyOwner()), type_(store.ProviderType()) {}

    // Instead of the password the key is saved that opens the container's lock. The system protects it for the user or
    // the computer and binds it to the container. Only administrators may read those of the computer.
    std::optional<SymmetricKey> Find(const ContainerPlace& place) const;
    DWORD Save(const ContainerPlace& place, const SymmetricKey& openingKey) const;
    void Remove(const ContainerPlace& place) const;

    // Ignored for a carrier that is not removable, and if "\config\Parameters\DisableShortcuts" is set.
    void AddCarrier(const Carrier& carrier) const;

  private:
    std::wstring Section(const std::wstring& name) const;
    std::wstring SectionOf(const ContainerPlace& place) const;

    Owner owner_;
    DWORD type_;
};

}  // namespace softcsp
