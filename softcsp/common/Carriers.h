// The carriers that containers lie on: "REGISTRY", which is always there, and directories that play removable media.
// Removable ones are registered beneath HKEY_LOCAL_MACHINE (Names.h), one key each; pulled out, they stay registered.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace softcsp {

constexpr wchar_t kRegistryCarrier[] = L"REGISTRY";

struct Carrier {
    std::wstring name;  // as in container names: upper case letters, digits, '_' and '-'; at most 32 of them
    bool removable = false;
    bool present = true;    // plugged in
    DWORD room = MAXDWORD;  // bytes that all containers on it may take together; MAXDWORD = no limit
};

enum class Owner { User, Computer };

// "REGISTRY" first, then the removable ones by name, the absent ones too.
std::vector<Carrier> Carriers();

// The directory of a carrier's containers of one owner and provider type, with the last backslash. It needn't exist.
// The user's containers on "REGISTRY" lie in the user's local application data, everything else in that of all users.
// Empty when the system doesn't tell where that is.
std::wstring ContainerFolder(const Carrier& carrier, Owner owner, DWORD providerType);

// Win32 codes. ERROR_ALREADY_EXISTS, ERROR_INVALID_NAME (also for "REGISTRY").
DWORD AddCarrier(const Carrier& carrier);
// Changes `present` and `room` of a registered one; ERROR_FILE_NOT_FOUND.
DWORD UpdateCarrier(const Carrier& carrier);
// Its containers stay on disk and are there again when a carrier of that name is added. ERROR_FILE_NOT_FOUND.
DWORD RemoveCarrier(const std::wstring& name);

}  // namespace softcsp
