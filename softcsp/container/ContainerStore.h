// The containers of one owner and provider type on all carriers. Results are codes of CryptoAPI or Win32, 0 = success;
// a failed call leaves its outputs and the disk as they were.
//
// A container is one file. It is written beside its place and then moved there in one step, so a process that is killed
// leaves the old one or the new one. Letter case in names doesn't matter. Several programs may read and write at once:
// each reading and each writing has the file for itself, and Modify all between the two.
//
// Names, as programs give them:
//   name                     looked for on each present carrier in turn
//   CARRIER\name             the unique name, which links of certificates hold
//   \\.\CARRIER\name         the fully qualified name
#pragma once

#include <windows.h>

#include <string>
#include <utility>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/FileLock.h"
#include "softcsp/container/Container.h"

namespace softcsp {

struct ContainerPlace {
    Carrier carrier;
    std::wstring name;

    std::wstring UniqueName() const { return carrier.name + L'\\' + name; }
    std::wstring QualifiedName() const { return L"\\\\.\\" + UniqueName(); }
};

class ContainerStore {
  public:
    ContainerStore(Owner owner, DWORD providerType) : owner_(owner), type_(providerType) {}

    // NTE_BAD_KEYSET_PARAM: no name in any of the three forms. NTE_BAD_KEYSET: there is no such container.
    // SCARD_W_REMOVED_CARD: the carrier is named and not plugged in.
    DWORD Find(std::wstring_view text, ContainerPlace& place) const;
    // Where a container of that name would be made: the carrier that the text names, or none.
    // NTE_BAD_KEYSET_PARAM, SCARD_W_REMOVED_CARD; NTE_KEYSET_NOT_DEF: there is no such carrier.
    DWORD PlaceForNew(std::wstring_view text, ContainerPlace& place, bool& carrierNamed) const;

    // NTE_BAD_KEYSET: gone. NTE_KEYSET_ENTRY_BAD: the file is no container. SCARD_W_REMOVED_CARD.
    DWORD Load(const ContainerPlace& place, Container& container) const;
    // The file as it is.
    DWORD LoadBytes(const ContainerPlace& place, Bytes& bytes) const;
    // NTE_EXISTS. ERROR_DISK_FULL: the carrier has no room, or the container would be too large to be read again.
    // ERROR_PATH_NOT_FOUND: the system doesn't tell where containers lie. SCARD_W_REMOVED_CARD.
    DWORD Create(const ContainerPlace& place, const Container& container) const;
    DWORD Save(const ContainerPlace& place, const Container& container) const;
    DWORD SaveBytes(const ContainerPlace& place, ByteView bytes) const;
    DWORD Remove(const ContainerPlace& place) const;
    // Reads the container, applies the change, which gives 0 or a code that ends it, and writes it. `container` is what
    // was written.
    template <class Change>
    DWORD Modify(const ContainerPlace& place, Container& container, Change&& change) const {
        const FileLock lock(FileOf(place));
        if (const DWORD result = lock.Result()) return result;
        Container fresh;
        if (const DWORD result = Load(place, fresh)) return result;
        if (const DWORD result = std::forward<Change>(change)(fresh)) return result;
        if (const DWORD result = Save(place, fresh)) return result;
        container = std::move(fresh);
        return ERROR_SUCCESS;
    }

    // Those of all present carriers, by carrier and name. Files that are no containers are left aside.
    std::vector<ContainerPlace> List() const;

    Owner KeyOwner() const { return owner_; }
    DWORD ProviderType() const { return type_; }

  private:
    // Empty when the system doesn't tell where it would be.
    std::wstring FileOf(const ContainerPlace& place) const;
    DWORD Write(const ContainerPlace& place, const Container& container, bool replace) const;
    DWORD WriteBytes(const ContainerPlace& place, ByteView bytes, bool replace) const;
    bool HasRoom(const Carrier& carrier, const std::wstring& file, std::size_t size) const;

    Owner owner_;
    DWORD type_;
};

}  // namespace softcsp
