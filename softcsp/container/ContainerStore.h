// The containers of one owner and provider type on all carriers. Results are codes of CryptoAPI or Win32, 0 = success;
// a failed call leaves its outputs and the disk unchanged.
//
// A container is one file, replaced atomically: a process that is killed leaves the old container or the new one.
// Letter case in names does not matter. Every access locks the folder of the file; Modify and Remove hold the lock from
// the reading to the end.
//
// The forms of names that programs use:
//   name                     searched on each present carrier in turn
//   CARRIER\name             the unique name, used by links of certificates
//   \\.\CARRIER\name         the fully qualified name
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/container/Container.h"

namespace softcsp {

struct ContainerPlace {
    Carrier carrier;
    std::wstring name;

    std::wstring UniqueName() const { return carrier.name + L'\\' + name; }
    std::wstring QualifiedName() const { return L"\\\\.\\" + UniqueName(); }
};

// A present carrier by its name, in any letter case. NTE_KEYSET_NOT_DEF: there is none; SCARD_W_REMOVED_CARD.
DWORD FindCarrier(std::wstring_view name, Carrier& carrier);

// Differs between two states of a file.
struct FileStamp {
    FILETIME written{};
    DWORD size = 0;

    bool operator==(const FileStamp& other) const {
        return CompareFileTime(&written, &other.written) == 0 && size == other.size;
    }
};

class ContainerStore {
  public:
    ContainerStore(Owner owner, DWORD providerType) : owner_(owner), type_(providerType) {}

    // NTE_BAD_KEYSET_PARAM: the text is none of the three forms. NTE_BAD_KEYSET: there is no such container.
    // SCARD_W_REMOVED_CARD: the carrier is named and ejected.
    DWORD Find(std::wstring_view text, ContainerPlace& place) const;
    // The place of a new container of that name. `place.carrier` is unchanged unless the text names one.
    // NTE_BAD_KEYSET_PARAM also for names with '?' or control characters, which not every program can open again;
    // SCARD_W_REMOVED_CARD; NTE_KEYSET_NOT_DEF: there is no such carrier.
    DWORD PlaceForNew(std::wstring_view text, ContainerPlace& place, bool& carrierNamed) const;

    // NTE_BAD_KEYSET: gone. NTE_KEYSET_ENTRY_BAD: the file is not a container. SCARD_W_REMOVED_CARD.
    DWORD Load(const ContainerPlace& place, Container& container) const;
    // The file as it is.
    DWORD LoadBytes(const ContainerPlace& place, Bytes& bytes) const;
    // All zero if there is no such file.
    FileStamp Stamp(const ContainerPlace& place) const;

    // The file's security descriptor, self-relative; `parts` is a SECURITY_INFORMATION.
    DWORD ReadSecurity(const ContainerPlace& place, DWORD parts, Bytes& descriptor) const;

    // NTE_EXISTS. ERROR_DISK_FULL: the carrier has no room, or the container would be too large to be read again.
    // ERROR_PATH_NOT_FOUND: the system does not know the folder. SCARD_W_REMOVED_CARD.
    DWORD Create(const ContainerPlace& place, const Container& container) const;
    // Replaces the container. One without a password is authenticated first; one with a password, if it was changed,
    // cannot be unlocked any more unless the caller has authenticated it.
    DWORD Save(const ContainerPlace& place, const Container& container) const;
    DWORD SaveBytes(const ContainerPlace& place, ByteView bytes) const;
    // Reads the container, applies the change and writes it. The change returns 0 or a code that ends the call, and
    // authenticates the container. `container` and `stamp` become those of what was written.
    using Change = std::function<DWORD(Container& container)>;
    DWORD Modify(const ContainerPlace& place, Container& container, const Change& change,
                 FileStamp* stamp = nullptr) const;
    // Removes the container if the check of its file returns 0.
    using Check = std::function<DWORD(ByteView bytes)>;
    DWORD Remove(const ContainerPlace& place, const Check& check = {}) const;

    // Those of all present carriers, by carrier and name. Files that are not containers are skipped.
    std::vector<ContainerPlace> List() const;

    Owner KeyOwner() const { return owner_; }
    DWORD ProviderType() const { return type_; }
    // How a container without a password is protected there. Removable carriers are used on several computers.
    Protection ProtectionOf(const ContainerPlace& place) const;

  private:
    // Empty if the system does not know the folder.
    std::wstring FileOf(const ContainerPlace& place) const;
    // Runs the access with the folder locked.
    template <class Access>
    DWORD Locked(const ContainerPlace& place, Access&& access) const;
    // Called with the folder locked.
    DWORD Read(const ContainerPlace& place, Container& container) const;
    DWORD WriteBytes(const ContainerPlace& place, ByteView bytes, bool replace) const;
    DWORD Write(const ContainerPlace& place, const Container& container, bool replace) const;
    bool HasRoom(const Carrier& carrier, const std::wstring& file, std::size_t size) const;

    Owner owner_;
    DWORD type_;
};

}  // namespace softcsp
