// What the store keeps beneath "\local\KeyDevices\passwords" and "\global\KeyDevices\passwords": a subsection for each
// container whose password is saved, "TYPE/CARRIER/NAME" with the provider's type in front ("#" and a sum stands for a
// name that would make it too long), and an empty subsection for each removable carrier that containers were used on.
// Win32 codes.
#pragma once

#include <windows.h>

#include <optional>

#include "softcsp/container/ContainerStore.h"

namespace softcsp {

class SavedPasswords {
  public:
    explicit SavedPasswords(const ContainerStore& store) : owner_(store.KeyOwner()), type_(store.ProviderType()) {}

    // Not the password: the key that opens the container's lock, protected by the system for the user or the computer.
    std::optional<SymmetricKey> Find(const ContainerPlace& place) const;
    DWORD Save(const ContainerPlace& place, const SymmetricKey& openingKey) const;
    void Forget(const ContainerPlace& place) const;

    // Nothing for a carrier that isn't removable, and where "\config\Parameters\DisableShortcuts" is set.
    void NoteCarrier(const Carrier& carrier) const;

  private:
    std::wstring Section(const std::wstring& name) const;
    std::wstring SectionOf(const ContainerPlace& place) const;

    Owner owner_;
    DWORD type_;
};

}  // namespace softcsp
