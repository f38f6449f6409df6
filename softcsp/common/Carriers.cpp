#include "softcsp/common/Carriers.h"

#include <shlobj.h>

#include <algorithm>
#include <string_view>

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"

namespace softcsp {
namespace {

constexpr wchar_t kPresent[] = L"Present";  // REG_DWORD, 0 = ejected
constexpr wchar_t kRoom[] = L"Room";        // REG_DWORD, bytes
constexpr std::size_t kLongestName = 32;

// Found at the first use, because the question is slow: of the computer, of the user.
Mutex foldersLock;
std::wstring folders[2];

std::wstring KeyOf(const std::wstring& name) {
    return std::wstring(kCarriersKey) + L'\\' + name;
}

// Names that the file system reserves for devices cannot be folders.
bool IsDevice(std::wstring_view name) {
    const std::wstring_view port = name.substr(0, 3);
    if (name.size() == 4 && (port == L"COM" || port == L"LPT")) return name[3] >= L'1' && name[3] <= L'9';
    return name == L"CON" || name == L"PRN" || name == L"AUX" || name == L"NUL";
}

// Whether a removable carrier may have this name. No other text becomes part of a registry path.
bool IsName(std::wstring_view name) {
    const auto allowed = [](wchar_t c) {
        return (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'_' || c == L'-';
    };
    return !name.empty() && name.size() <= kLongestName && std::all_of(name.begin(), name.end(), allowed) &&
           name != kRegistryCarrier && !IsDevice(name);
}

DWORD WriteCarrier(const Carrier& carrier) {
    const std::wstring key = KeyOf(carrier.name);
    if (const DWORD result = WriteValue(HKEY_LOCAL_MACHINE, key, kPresent, DWORD{carrier.present})) return result;
    return WriteValue(HKEY_LOCAL_MACHINE, key, kRoom, carrier.room);
}

bool IsRegistered(const std::wstring& name) {
    return IsName(name) && CheckKey(HKEY_LOCAL_MACHINE, KeyOf(name), KEY_QUERY_VALUE) == ERROR_SUCCESS;
}

}  // namespace

std::vector<Carrier> Carriers() {
    std::vector<Carrier> carriers{{.name = kRegistryCarrier}};
    KeyNames names;
    ListKey(HKEY_LOCAL_MACHINE, kCarriersKey, names);
    std::ranges::sort(names.keys);
    for (const std::wstring& name : names.keys) {
        if (!IsName(name)) continue;
        const auto number = [key = KeyOf(name)](const wchar_t* value, DWORD missing) {
            return ReadNumber(HKEY_LOCAL_MACHINE, key, value, missing);
        };
        carriers.push_back({name, true, number(kPresent, 1) != 0, number(kRoom, MAXDWORD)});
    }
    return carriers;
}

DWORD AddCarrier(const Carrier& carrier) {
    if (!IsName(carrier.name)) return ERROR_INVALID_NAME;
    if (IsRegistered(carrier.name)) return ERROR_ALREADY_EXISTS;
    const DWORD result = WriteCarrier(carrier);
    if (result != ERROR_SUCCESS) RemoveCarrier(carrier.name);
    return result;
}

DWORD UpdateCarrier(const Carrier& carrier) {
    return IsRegistered(carrier.name) ? WriteCarrier(carrier) : ERROR_FILE_NOT_FOUND;
}

DWORD RemoveCarrier(const std::wstring& name) {
    return IsName(name) ? RemoveKey(HKEY_LOCAL_MACHINE, KeyOf(name)) : ERROR_FILE_NOT_FOUND;
}

std::wstring ApplicationData(Owner owner) {
    const Mutex::Held held(foldersLock);
    std::wstring& folder = folders[owner == Owner::User];
    if (!folder.empty()) return folder;
    const SystemFunction<decltype(SHGetFolderPathW)> find(L"shell32.dll", "SHGetFolderPathW");
    const int which = owner == Owner::User ? CSIDL_LOCAL_APPDATA : CSIDL_COMMON_APPDATA;
    wchar_t path[MAX_PATH];
    if (find.Get() != nullptr && find.Get()(nullptr, which, nullptr, SHGFP_TYPE_CURRENT, path) == S_OK)
        folder = path + std::wstring(L"\\Kelvane\\SoftCSP\\");
    return folder;
}

std::wstring ContainerFolder(const Carrier& carrier, Owner owner, DWORD providerType) {
    const Owner folderOwner = FolderOwner(carrier, owner);
    const std::wstring data = ApplicationData(folderOwner);
    if (data.empty()) return {};
    std::wstring type = std::to_wstring(providerType);
    if (type.size() < 3) type.insert(0, 3 - type.size(), L'0');
    std::wstring path = data + carrier.name + L'\\';
    if (folderOwner == Owner::Computer) path += owner == Owner::User ? L"user\\" : L"computer\\";
    return path + type + L'\\';
}

Owner FolderOwner(const Carrier& carrier, Owner owner) {
    return carrier.name == kRegistryCarrier ? owner : Owner::Computer;
}

Rights ContainerRights(const Carrier& carrier, Owner owner) {
    return FolderOwner(carrier, owner) == Owner::User ? Rights::Owner : Rights::OwnerAndAdministrators;
}

}  // namespace softcsp
