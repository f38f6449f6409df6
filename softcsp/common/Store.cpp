#include "softcsp/common/Store.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <optional>
#include <string_view>

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"
#include "softcsp/common/Text.h"

namespace softcsp {
namespace {

constexpr std::size_t kMaxComponent = 255;  // characters; the registry's limit for the name of a key
constexpr std::size_t kMaxPath = 4096;      // characters

}  // namespace

std::optional<StorePath> StorePath::Parse(const wchar_t* text) {
    if (text == nullptr || *text != L'\\') return std::nullopt;
    const std::wstring_view whole(text, wcsnlen(text, kMaxPath + 1));
    if (whole.size() > kMaxPath) return std::nullopt;
    StorePath path;
    std::size_t begin = 1;
    for (;;) {
        const std::size_t end = std::min(whole.find(L'\\', begin), whole.size());
        if (end == begin || end - begin > kMaxComponent) return std::nullopt;
        path.parts_.emplace_back(whole.substr(begin, end - begin));
        if (end == whole.size()) break;
        begin = end + 1;
    }
    path.local_ = SameText(path.parts_.front(), L"local");
    return path;
}

std::vector<std::wstring> StorePath::Lineage() const {
    std::vector<std::wstring> lineage;
    for (std::size_t count = 1; count <= parts_.size(); ++count) lineage.push_back(Join(count));
    return lineage;
}

std::wstring StorePath::Join(std::size_t count) const {
    std::wstring joined;
    for (std::size_t i = 0; i < count; ++i) joined.append(1, L'\\').append(parts_[i]);
    return joined;
}

DWORD Deny(const StorePath& path) {
    RegistryKey list;
    if (const DWORD result = list.Create(HKEY_LOCAL_MACHINE, kDeniedKey)) return result;
    return list.WriteNumber(path.Section(), 1);
}

DWORD Allow(const StorePath& path) {
    RegistryKey list;
    if (const DWORD result = list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_SET_VALUE)) return result;
    return list.Remove(path.Section());
}

namespace {

// In any letter case: the path or one above it is denied.
bool IsDenied(const StorePath& path) {
    RegistryKey list;
    if (list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return false;
    const auto lineage = path.Lineage();
    return std::any_of(lineage.begin(), lineage.end(), [&list](const std::wstring& name) {
        RegistryData data;
        return list.Read(name, data) == ERROR_SUCCESS;
    });
}

// A path beneath it is denied, so that it cannot be removed as a whole.
bool IsDeniedBeneath(const StorePath& path) {
    RegistryKey list;
    if (list.Open(HKEY_LOCAL_MACHINE, kDeniedKey, KEY_QUERY_VALUE) != ERROR_SUCCESS) return false;
    const std::wstring head = path.Section() + L'\\';
    const auto names = list.Values();
    return std::any_of(names.begin(), names.end(), [&head](const std::wstring& name) {
        const auto length = static_cast<int>(head.size());
        return name.size() > head.size() &&
               CompareStringOrdinal(name.c_str(), length, head.c_str(), length, TRUE) == CSTR_EQUAL;
    });
}

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
    return denials_ == Denials::Ignored || !IsDenied(path);
}

bool Store::MayRemove(const StorePath& path) const {
    return denials_ == Denials::Ignored || (!IsDenied(path) && !IsDeniedBeneath(path));
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

DWORD Store::WriteNumber(const wchar_t* path, DWORD number) const {
    RegistryKey section;
    std::wstring name;
    if (const DWORD result = OpenForWriting(path, section, name)) return result;
    return section.WriteNumber(name, number);
}

DWORD Store::WriteText(const wchar_t* path, const std::wstring& text) const {
    RegistryKey section;
    std::wstring name;
    if (const DWORD result = OpenForWriting(path, section, name)) return result;
    return section.WriteText(name, text);
}

DWORD Store::CreateSection(const wchar_t* text, SECURITY_ATTRIBUTES* security) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    if (!MayWrite(*path)) return ERROR_ACCESS_DENIED;
    RegistryKey section;
    return section.Create(RootOf(*path), kStoreKey + path->Section(), security);
}

DWORD Store::RemoveParameter(const wchar_t* text) const {
    const auto path = StorePath::Parse(text);
    if (!path || !path->HasName()) return ERROR_BAD_PATHNAME;
    if (!MayRemove(*path)) return ERROR_ACCESS_DENIED;
    RegistryKey section;
    if (const DWORD result = OpenSection(*path, path->Parent(), KEY_SET_VALUE, section)) return result;
    return section.Remove(path->Name());
}

DWORD Store::RemoveSection(const wchar_t* text) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    if (!MayRemove(*path)) return ERROR_ACCESS_DENIED;
    return RemoveRegistryTree(RootOf(*path), kStoreKey + path->Section());
}

DWORD Store::Granted(const wchar_t* text, DWORD& rights) const {
    const auto path = StorePath::Parse(text);
    if (!path) return ERROR_BAD_PATHNAME;
    StoreValue value;
    const bool section = IsSection(*path);
    if (!section && Find(text, value) != ERROR_SUCCESS) return ERROR_FILE_NOT_FOUND;
    // The rights to the registry matter too: users without privileges may only read the machine's store.
    const std::wstring key = section ? path->Section() : path->Parent();
    DWORD granted = kRightRead;
    if (MayWrite(*path) && Opens(*path, key, KEY_WRITE)) granted |= kRightWrite;
    if (MayRemove(*path) && Opens(*path, key, section ? DELETE : KEY_SET_VALUE)) granted |= kRightRemove;
    rights = granted;
    return ERROR_SUCCESS;
}

namespace {

// One value per library and process; 0 = not read yet.
std::atomic<DWORD>& Kept() {
    static std::atomic<DWORD> kept{0};
    return kept;
}

DWORD Read() {
    for (const wchar_t* path : {L"\\local\\Language", L"\\config\\Language"}) {
        StoreValue value;
        DWORD language = 0;
        if (Store().Find(path, value) == ERROR_SUCCESS && value.data.Number(language) == ERROR_SUCCESS &&
            (language == kEnglish || language == kRussian))
            return language;
    }
    return PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}

}  // namespace

DWORD Language::Get() {
    const DWORD kept = Kept();
    return kept != 0 ? kept : Update();
}

DWORD Language::Update() {
    const DWORD language = Read();
    Kept() = language;
    return language;
}

void Language::Forget() {
    Kept() = 0;
}

}  // namespace softcsp
