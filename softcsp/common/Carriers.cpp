#include "softcsp/common/Carriers.h"

#include <algorithm>
#include <string_view>

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"

namespace softcsp {
namespace {

constexpr wchar_t kPresent[] = L"Present";  // REG_DWORD, 0 = ejected
constexpr wchar_t kRoom[] = L"Room";        // REG_DWORD, bytes
constexpr std::size_t kLongestName = 32;

// Found at the first use, because the question is slow.
struct {
    Mutex mutex;
    std::wstring path[2];
} knownFolders;

std::wstring KeyOf(const std::wstring& name) {
    return std::wstring(kCarriersKey) + L'\\' + name;
}

// Names that the file system reserves for devices cannot be folders.
bool IsDevice(std::wstring_view name) {
    constexpr std::wstring_view devices[] = {L"CON", L"PRN", L"AUX", L"NUL"};
    if (std::find(std::begin(devices), std::end(devices), name) != std::end(devices)) return true;
    const std::wstring_view port = name.substr(0, 3);
    return name.size() == 4 && (port == L"COM" || port == L"LPT") && name[3] >= L'1' && name[3] <= L'9';
}

// Whether a removable carrier may have this name. No other text becomes part of a registry path.
bool IsName(std::wstring_view name) {
    const auto allowed = [](wchar_t c) {
        return (c >= L'A' && c <= L'Z') || (c >= L'0' && c <= L'9') || c == L'_' || c == L'-';
    };
    return !name.empty() && name.size() <= kLongestName && std::all_of(name.begin(), name.end(), allowed) &&
           name != kRegistryCarrier && !IsDevice(name);
}

// A value that is missing or of another type leaves the number unchanged.
void ReadNumber(const RegistryKey& key, const wchar_t* name, DWORD& number) {
    RegistryData data;
    if (key.Read(name, data) == ERROR_SUCCESS) data.Number(number);
}

Carrier ReadCarrier(const std::wstring& name) {
    Carrier carrier{.name = name, .removable = true};
    RegistryKey key;
    if (key.Open(HKEY_LOCAL_MACHINE, KeyOf(name), KEY_QUERY_VALUE) != ERROR_SUCCESS) return carrier;
    DWORD present = 1;
    ReadNumber(key, kPresent, present);
    ReadNumber(key, kRoom, carrier.room);
    carrier.present = present != 0;
    return carrier;
}

DWORD WriteCarrier(const RegistryKey& key, const Carrier& carrier) {
    if (const DWORD result = key.WriteNumber(kPresent, carrier.present ? 1 : 0)) return result;
    return key.WriteNumber(kRoom, carrier.room);
}

}  // namespace

std::vector<Carrier> Carriers() {
    std::vector<Carrier> carriers{{.name = kRegistryCarrier}};
    RegistryKey key;
    if (key.Open(HKEY_LOCAL_MACHINE, kCarriersKey, KEY_ENUMERATE_SUB_KEYS) != ERROR_SUCCESS) return carriers;
    std::vector<std::wstring> names = key.Subkeys();
    std::sort(names.begin(), names.end());
    for (const std::wstring& name : names)
        if (IsName(name)) carriers.push_back(ReadCarrier(name));
    return carriers;
}

DWORD AddCarrier(const Carrier& carrier) {
    if (!IsName(carrier.name)) return ERROR_INVALID_NAME;
    RegistryKey key;
    if (key.Open(HKEY_LOCAL_MACHINE, KeyOf(carrier.name), KEY_QUERY_VALUE) == ERROR_SUCCESS)
        return ERROR_ALREADY_EXISTS;
    DWORD result = key.Create(HKEY_LOCAL_MACHINE, KeyOf(carrier.name));
    if (result != ERROR_SUCCESS) return result;
    result = WriteCarrier(key, carrier);
    key.Close();
    if (result != ERROR_SUCCESS) RemoveCarrier(carrier.name);
    return result;
}

DWORD UpdateCarrier(const Carrier& carrier) {
    if (!IsName(carrier.name)) return ERROR_FILE_NOT_FOUND;
    RegistryKey key;
    if (const DWORD result = key.Open(HKEY_LOCAL_MACHINE, KeyOf(carrier.name), KEY_SET_VALUE)) return result;
    return WriteCarrier(key, carrier);
}

DWORD RemoveCarrier(const std::wstring& name) {
    if (!IsName(name)) return ERROR_FILE_NOT_FOUND;
    return RemoveRegistryTree(HKEY_LOCAL_MACHINE, KeyOf(name));
}

std::wstring ApplicationData(Owner owner) {
    const Mutex::Held held(knownFolders.mutex);
    std::wstring& path = knownFolders.path[owner == Owner::User];
    if (path.empty()) path = KnownFolder(owner == Owner::User);
    return path.empty() ? path : path + L"Kelvane\\SoftCSP\\";
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
