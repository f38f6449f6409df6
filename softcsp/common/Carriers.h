// The carriers that hold containers: "REGISTRY", which always exists, and folders that represent removable media.
// Removable carriers are registered beneath HKEY_LOCAL_MACHINE (Names.h), one key each. An ejected carrier stays
// registered.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "softcsp/common/Files.h"

namespace softcsp {

constexpr wchar_t kRegistryCarrier[] = L"REGISTRY";

struct Carrier {
    std::wstring name;  // upper-case letters, digits, '_' and '-'; at most 32 of them
    bool removable = false;
    bool present = true;    // inserted
    DWORD room = MAXDWORD;  // bytes that all containers on it may have together; MAXDWORD = no limit
};

enum class Owner { User, Computer };

// "REGISTRY" first, then the removable ones by name, including absent ones.
std::vector<Carrier> Carriers();

// The provider's folder in the application data of the user or of all users, with the last backslash. It may be
// missing. Empty if the system does not know the folder.
std::wstring ApplicationData(Owner owner);

// The folder of a carrier's containers of one owner and provider type, likewise. The user's containers on "REGISTRY"
// are in the user's local application data, all others in that of all users.
std::wstring ContainerFolder(const Carrier& carrier, Owner owner, DWORD providerType);
// Whose application data contain that folder, and who may use the files in it.
Owner FolderOwner(const Carrier& carrier, Owner owner);
Rights ContainerRights(const Carrier& carrier, Owner owner);

// Win32 codes. ERROR_ALREADY_EXISTS, ERROR_INVALID_NAME (also for "REGISTRY").
DWORD AddCarrier(const Carrier& carrier);
// Changes `present` and `room` of a registered carrier; ERROR_FILE_NOT_FOUND.
DWORD UpdateCarrier(const Carrier& carrier);
// Its containers stay on disk and are available again when a carrier of that name is added. ERROR_FILE_NOT_FOUND.
DWORD RemoveCarrier(const std::wstring& name);

// The target of `context` in a SUPSYS_REGISTRATION (kvsuprt.h). rdr_register_start of kvrdr.dll creates it and
// supsys_unregister_all of kvsuprt.dll removes it, so it is allocated on the process heap, which both share.
struct ReaderRegistration {
    BOOL registered;  // whether a search finds readers
};

}  // namespace softcsp
