// What the store keeps beneath "\local\KeyDevices\passwords" and "\global\KeyDevices\passwords": a subsection for each
// container whose password is saved, named as the container's unique name with '/' for the backslash, and an empty
// subsection for each removable carrier that containers were used on. Win32 codes.
#pragma once

#include <windows.h>

#include <optional>

#include "softcsp/container/ContainerStore.h"

namespace softcsp {

class SavedPasswords {
  public:
    explicit SavedPasswords(Owner owner) : owner_(owner) {}

    // Not the password: the key that opens the container's lock, protected by the system for the user or the computer.
    std::optional<SymmetricKey> Find(const ContainerPlace& place) const;
    DWORD Save(const ContainerPlace& place, const SymmetricKey& openingKey) const;
    void Forget(const ContainerPlace& place) const;

    // Nothing for a carrier that isn't removable, and where "\config\Parameters\DisableShortcuts" is set.
    void NoteCarrier(const Carrier& carrier) const;

  private:
    std::wstring SectionOf(const std::wstring& name) const;

    Owner owner_;
};

}  // namespace softcsp
