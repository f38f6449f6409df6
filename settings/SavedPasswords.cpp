#include "settings/SavedPasswords.h"

#include "applet/services/SupportLibrary.h"

namespace {

// The names of a section's entries, in the store's order.
struct Entries {
    bool read = false;  // the section could be opened and all names could be read
    std::vector<std::wstring> names;
    DWORD end = ERROR_SUCCESS;  // the library's code after the last entry
};

Entries ReadEntries(const std::wstring& section) {
    Entries entries;
    UniqueSupportSearch search;
    if (support_registry_search_open(section.c_str(), search.put()) != 0) return entries;
    UniqueSupportValue entry;
    while ((entries.end = support_registry_search_next(search.get(), entry.put())) == 0) {
        const auto read = [&entry](wchar_t* buffer, DWORD* length) {
            return support_registry_value_name(entry.get(), length, buffer);
        };
        if (ReadSupportText(read, entries.names.emplace_back()) != 0) return entries;
    }
    entries.read = true;
    return entries;
}

}  // namespace

bool SavedPasswords::MayDelete() const noexcept {
    DWORD rights = kRightRemove;
    return support_registry_check_access(section_, &rights) == 0 && rights == kRightRemove;
}

// The names of the records of removable carriers, in the store's order, up to the first failure.
//
// A search may also fail for a subsection that holds a password, which must not be deleted here. Therefore a subsection
// counts as empty only if its search ends with the same code as the listing of the section, and never if the library
// lacks the function.
std::vector<std::wstring> SavedPasswords::MediaRecords() const {
    Entries entries = ReadEntries(section_);
    std::vector<std::wstring> records;
    if (!entries.read || entries.end == kFunctionMissing) return records;
    for (std::wstring& name : entries.names) {
        UniqueSupportSearch inner;
        UniqueSupportValue first;
        if (support_registry_search_open((section_ + (L'\\' + name)).c_str(), inner.put()) != 0) break;
        if (support_registry_search_next(inner.get(), first.put()) == entries.end) records.push_back(std::move(name));
    }
    return records;
}

void SavedPasswords::DeleteAll() const noexcept {
    support_registry_delete_section(section_);
}

// Each record is tried once: one that cannot be deleted would be found again forever.
void SavedPasswords::DeleteMediaRecords() const {
    for (const std::wstring& name : MediaRecords()) {
        support_registry_delete_section((section_ + (L'\\' + name)).c_str());
    }
}
