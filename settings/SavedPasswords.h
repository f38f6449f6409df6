// What the provider has saved beneath a section of the configuration store: a subsection with entries for each
// container's password, an empty one for each removable carrier.
#pragma once

#include <string>
#include <vector>

class SavedPasswords {
  public:
    // `section` is a literal.
    explicit constexpr SavedPasswords(const wchar_t* section) noexcept : section_(section) {}

    // Whether this user may delete the section. False when there is none.
    bool MayDelete() const noexcept;

    bool HasMediaRecords() const { return !MediaRecords().empty(); }

    // What can't be deleted stays, unreported.
    void DeleteAll() const noexcept;
    void DeleteMediaRecords() const;

  private:
    std::vector<std::wstring> MediaRecords() const;

    const wchar_t* section_;
};
