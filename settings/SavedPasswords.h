// Passwords that the provider has saved in a section of the configuration store. Each container's password is a
// subsection with entries; each removable carrier has a record, a subsection without entries.
#pragma once

#include <string>
#include <vector>

class SavedPasswords {
  public:
    // `section` is a literal.
    explicit constexpr SavedPasswords(const wchar_t* section) noexcept : section_(section) {}

    // Whether this user may delete the section. False when it does not exist.
    bool MayDelete() const noexcept;

    bool HasMediaRecords() const { return !MediaRecords().empty(); }

    // Failures are not reported; what cannot be deleted remains.
    void DeleteAll() const noexcept;
    void DeleteMediaRecords() const;

  private:
    std::vector<std::wstring> MediaRecords() const;

    const wchar_t* section_;
};
