#include "pages/SavedPasswords.h"

#include "applet/services/SupportLibrary.h"

namespace {

// A search that fails is no proof of emptiness: what it couldn't see may be a password.
bool IsEmpty(const UniqueSupportSearch& section) noexcept {
    UniqueSupportValue value;
    return support_registry_search_next(section.get(), value.put()) == ERROR_NO_MORE_ITEMS;
}

}  // namespace

bool SavedPasswords::MayDelete() const noexcept {
    DWORD rights = kRightRemove;
    return support_registry_check_access(section_, &rights) == 0 && rights == kRightRemove;
}

// The names of the records of removable carriers, in the store's order; those before the first failure, and no more
// than `most`.
std::vector<std::wstring> SavedPasswords::MediaRecords(size_t most) const {
    std::vector<std::wstring> names;
    UniqueSupportSearch search;
    if (support_registry_search_open(section_, search.put()) != 0) return names;
    UniqueSupportValue entry;
    while (names.size() < most && support_registry_search_next(search.get(), entry.put()) == 0) {
        std::wstring name;
        const auto read = [&entry](wchar_t* buffer, DWORD* length) {
            return support_registry_value_name(entry.get(), length, buffer);
        };
        UniqueSupportSearch inner;
        if (ReadSupportText(read, name) != 0 ||
            support_registry_search_open((section_ + (L'\\' + name)).c_str(), inner.put()) != 0) {
            break;
        }
        if (IsEmpty(inner)) names.push_back(std::move(name));
    }
    return names;
}

void SavedPasswords::DeleteAll() const noexcept {
    support_registry_delete_section(section_);
}

// Each one is tried once, so a record that can't be deleted keeps nobody waiting.
void SavedPasswords::DeleteMediaRecords() const {
    for (const std::wstring& name : MediaRecords(static_cast<size_t>(-1))) {
        support_registry_delete_section((section_ + (L'\\' + name)).c_str());
    }
}
