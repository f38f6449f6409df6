#include "softcsp/common/Store.h"

#include <optional>

#include "softcsp/common/AccessList.h"
#include "softcsp/common/Names.h"

namespace softcsp {
namespace {

HKEY RootOf(const StorePath& path) {
    return path.IsLocal() ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

DWORD OpenSection(const StorePath& path, const std::wstring& section, REGSAM access, RegistryKey& key) {
    return key.Open(RootOf(path), kStoreKey + section, access);
}

bool Opens(const StorePath& path, const std::wstring& section, REGSAM access) {
    RegistryKey key;
    return OpenSection(path, section, access, key) == ERROR_SUCCESS;
}

bool IsSection(const StorePath& path) {
    return Opens(path, path.Section(), KEY_QUERY_VALUE);
}

}  // namespace

bool Store::MayWrite(const StorePath& path) const {
    return rights_ == Rights::Ignored || !IsDenied(path);
}

bool Store::MayRemove(const StorePath& path) const {
    return rights_ == Rights::Ignored || (!IsDenied(path) && !IsDeniedBeneath(path));
}

DWORD Store::Find(const wchar_t* text, StoreValue& value) const {
    const auto path = StorePath::Parse(text);
    if (!path || !path->HasName()) return ERROR_BAD_PATHNAME;
    RegistryKey section;
    if (const DWORD result = OpenSection(*path, path->Parent(), KEY_QUERY_VALUE, section)) return result;
    StoreValue found{.name = path->Name(), .section = false, .data = {}};
    if (const DWORD result = section.Read(found.name, found.data)) return result;
    value = std::move(found);
    return ERROR_SUCCESS;
}

DWORD Store::List(const wchar_t* text, std::vector<StoreValue>& entries) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    RegistryKey section;
    if (const DWORD result = OpenSection(*path, path->Section(), KEY_READ, section)) return result;
    std::vector<StoreValue> list;
    for (std::wstring& name : section.Subkeys()) list.push_back({.name = std::move(name), .section = true, .data = {}});
    for (std::wstring& name : section.Values()) {
        StoreValue value{.name = std::move(name), .section = false, .data = {}};
        if (section.Read(value.name, value.data) == ERROR_SUCCESS) list.push_back(std::move(value));
    }
    entries = std::move(list);
    return ERROR_SUCCESS;
}

DWORD Store::OpenForWriting(const wchar_t* text, RegistryKey& section, std::wstring& name) const {
    const auto path = StorePath::Parse(text);
    if (!path || !path->HasName()) return ERROR_BAD_PATHNAME;
    if (!MayWrite(*path)) return ERROR_ACCESS_DENIED;
    name = path->Name();
    return section.Create(RootOf(*path), kStoreKey + path->Parent());
}

DWORD Store::PutNumber(const wchar_t* path, DWORD number) const {
    RegistryKey section;
    std::wstring name;
    if (const DWORD result = OpenForWriting(path, section, name)) return result;
    return section.WriteNumber(name, number);
}

DWORD Store::PutText(const wchar_t* path, const std::wstring& text) const {
    RegistryKey section;
    std::wstring name;
    if (const DWORD result = OpenForWriting(path, section, name)) return result;
    return section.WriteText(name, text);
}

DWORD Store::PutSection(const wchar_t* text) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    if (!MayWrite(*path)) return ERROR_ACCESS_DENIED;
    RegistryKey section;
    return section.Create(RootOf(*path), kStoreKey + path->Section());
}

DWORD Store::DeleteParameter(const wchar_t* text) const {
    const auto path = StorePath::Parse(text);
    if (!path || !path->HasName()) return ERROR_BAD_PATHNAME;
    if (!MayRemove(*path)) return ERROR_ACCESS_DENIED;
    RegistryKey section;
    if (const DWORD result = OpenSection(*path, path->Parent(), KEY_SET_VALUE, section)) return result;
    return section.Delete(path->Name());
}

DWORD Store::DeleteSection(const wchar_t* text) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    if (!MayRemove(*path)) return ERROR_ACCESS_DENIED;
    return DeleteRegistryTree(RootOf(*path), kStoreKey + path->Section());
}

DWORD Store::Granted(const wchar_t* text, DWORD& rights) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    StoreValue value;
    const bool section = IsSection(*path);
    if (!section && Find(text, value) != ERROR_SUCCESS) return ERROR_FILE_NOT_FOUND;
    // The registry's own rights count too: a real user may read the machine's store and not write it.
    const std::wstring key = section ? path->Section() : path->Parent();
    DWORD granted = kRightRead;
    if (MayWrite(*path) && Opens(*path, key, KEY_WRITE)) granted |= kRightWrite;
    if (MayRemove(*path) && Opens(*path, key, section ? DELETE : KEY_SET_VALUE)) granted |= kRightRemove;
    rights = granted;
    return ERROR_SUCCESS;
}

}  // namespace softcsp
