#include "softcsp/common/Store.h"

#include <algorithm>
#include <atomic>
#include <cwchar>
#include <string_view>

#include "softcsp/common/Names.h"
#include "softcsp/common/Text.h"

namespace softcsp {
namespace {

constexpr std::size_t kLongestComponent = 255;  // characters; the registry's limit for the name of a key
constexpr std::size_t kLongestPath = 4096;      // characters

std::atomic<DWORD> cachedLanguage = 0;  // one per library and process; 0 = not read yet

// A path as its place in the registry.
struct Place {
    std::wstring path;
    HKEY root = nullptr;
    std::wstring section;  // key of the path, read as a section
    std::wstring parent;   // key of the section that contains the path, read as a parameter
    std::wstring name;     // of the parameter
};

// A parameter has a component after the scope.
DWORD Locate(const wchar_t* text, Place& place, bool parameter = false) {
    if (text == nullptr || *text != L'\\') return ERROR_BAD_PATHNAME;
    place.path.assign(text, wcsnlen(text, kLongestPath + 1));
    if (place.path.size() > kLongestPath) return ERROR_BAD_PATHNAME;
    std::size_t components = 0, last = 0;
    for (std::size_t end = 0; end != place.path.npos; ++components) {
        last = end + 1;
        end = place.path.find(L'\\', last);
        const std::size_t length = std::min(end, place.path.size()) - last;
        if (length == 0 || length > kLongestComponent) return ERROR_BAD_PATHNAME;
    }
    place.root = SameText(place.path.substr(1, place.path.find(L'\\', 1) - 1), L"local") ? HKEY_CURRENT_USER
                                                                                         : HKEY_LOCAL_MACHINE;
    place.section = kStoreKey + place.path;
    place.parent = kStoreKey + place.path.substr(0, last - 1);
    place.name = place.path.substr(last);
    return components > 1 || !parameter ? ERROR_SUCCESS : ERROR_BAD_PATHNAME;
}

// In any letter case.
bool IsAtOrBeneath(std::wstring_view path, std::wstring_view top) {
    return SameText(path.substr(0, top.size()), top) && (path.size() == top.size() || path[top.size()] == L'\\');
}

std::vector<std::wstring> DeniedPaths() {
    KeyNames denied;
    ListKey(HKEY_LOCAL_MACHINE, kDeniedKey, denied);
    return denied.values;
}

}  // namespace

DWORD Deny(const wchar_t* path) {
    Place place;
    const DWORD result = Locate(path, place);
    return result != ERROR_SUCCESS ? result : WriteValue(HKEY_LOCAL_MACHINE, kDeniedKey, place.path, 1);
}

DWORD Allow(const wchar_t* path) {
    Place place;
    const DWORD result = Locate(path, place);
    return result != ERROR_SUCCESS ? result : RemoveValue(HKEY_LOCAL_MACHINE, kDeniedKey, place.path);
}

bool Store::MayWrite(const std::wstring& path) const {
    return denials_ == Denials::Ignored ||
           std::ranges::none_of(DeniedPaths(), [&](const auto& denied) { return IsAtOrBeneath(path, denied); });
}

// A section is removed as a whole, so that nothing beneath it may be denied.
bool Store::MayRemove(const std::wstring& path) const {
    return denials_ == Denials::Ignored || std::ranges::none_of(DeniedPaths(), [&](const auto& denied) {
               return IsAtOrBeneath(path, denied) || IsAtOrBeneath(denied, path);
           });
}

DWORD Store::Find(const wchar_t* path, StoreValue& value) const {
    Place place;
    if (const DWORD result = Locate(path, place, true)) return result;
    StoreValue found{place.name, {}};
    const DWORD result = ReadValue(place.root, place.parent, place.name, found.data);
    if (result == ERROR_SUCCESS) value = std::move(found);
    return result;
}

DWORD Store::ReadNumber(const std::wstring& path, DWORD& number) const {
    StoreValue value;
    const DWORD result = Find(path.c_str(), value);
    return result != ERROR_SUCCESS ? result : value.data.Number(number);
}

DWORD Store::ReadText(const std::wstring& path, std::wstring& text) const {
    StoreValue value;
    const DWORD result = Find(path.c_str(), value);
    return result != ERROR_SUCCESS ? result : value.data.Text(text);
}

DWORD Store::List(const wchar_t* path, std::vector<StoreValue>& entries) const {
    Place place;
    KeyNames names;
    if (const DWORD result = Locate(path, place)) return result;
    if (const DWORD result = ListKey(place.root, place.section, names)) return result;
    std::vector<StoreValue> list;
    for (std::wstring& name : names.keys) list.push_back({std::move(name), {}});
    for (std::wstring& name : names.values) {
        StoreValue value{std::move(name), {}};
        if (ReadValue(place.root, place.section, value.name, value.data) == ERROR_SUCCESS)
            list.push_back(std::move(value));
    }
    entries = std::move(list);
    return ERROR_SUCCESS;
}

DWORD Store::WriteNumber(const wchar_t* path, DWORD number) const {
    Place place;
    if (const DWORD result = Locate(path, place, true)) return result;
    return MayWrite(place.path) ? softcsp::WriteValue(place.root, place.parent, place.name, number)
                                : ERROR_ACCESS_DENIED;
}

DWORD Store::WriteText(const wchar_t* path, const std::wstring& text) const {
    Place place;
    if (const DWORD result = Locate(path, place, true)) return result;
    return MayWrite(place.path) ? softcsp::WriteValue(place.root, place.parent, place.name, text) : ERROR_ACCESS_DENIED;
}

DWORD Store::CreateSection(const wchar_t* path, SECURITY_ATTRIBUTES* security) const {
    Place place;
    if (const DWORD result = Locate(path, place)) return result;
    return MayWrite(place.path) ? CreateKey(place.root, place.section, security) : ERROR_ACCESS_DENIED;
}

DWORD Store::RemoveParameter(const wchar_t* path) const {
    Place place;
    if (const DWORD result = Locate(path, place, true)) return result;
    return MayRemove(place.path) ? RemoveValue(place.root, place.parent, place.name) : ERROR_ACCESS_DENIED;
}

DWORD Store::RemoveSection(const wchar_t* path) const {
    Place place;
    if (const DWORD result = Locate(path, place)) return result;
    return MayRemove(place.path) ? RemoveKey(place.root, place.section) : ERROR_ACCESS_DENIED;
}

DWORD Store::Granted(const wchar_t* path, DWORD& rights) const {
    Place place;
    StoreValue value;
    if (const DWORD result = Locate(path, place)) return result;
    const bool section = CheckKey(place.root, place.section, KEY_QUERY_VALUE) == ERROR_SUCCESS;
    if (!section && Find(path, value) != ERROR_SUCCESS) return ERROR_FILE_NOT_FOUND;
    // The rights to the registry matter too: users without privileges may only read the machine's store.
    const auto opens = [&](REGSAM access) {
        return CheckKey(place.root, section ? place.section : place.parent, access) == ERROR_SUCCESS;
    };
    DWORD granted = kRightRead;
    if (MayWrite(place.path) && opens(KEY_WRITE)) granted |= kRightWrite;
    if (MayRemove(place.path) && opens(section ? DELETE : KEY_SET_VALUE)) granted |= kRightRemove;
    rights = granted;
    return ERROR_SUCCESS;
}

DWORD Language::Get() {
    const DWORD cached = cachedLanguage;
    return cached != 0 ? cached : Update();
}

DWORD Language::Update() {
    DWORD language = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
    for (const wchar_t* path :
         {L"\\config\\Language", L"\\local\\Language"}) {  // the user's setting replaces the machine's
        DWORD stored = 0;
        Store().ReadNumber(path, stored);
        if (stored == kEnglish || stored == kRussian) language = stored;
    }
    cachedLanguage = language;
    return language;
}

void Language::Forget() {
    cachedLanguage = 0;
}

}  // namespace softcsp
