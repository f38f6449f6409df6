// How long the provider's own dialogs wait for the user before they close as if cancelled: what the configuration store
// holds for one level, the user's or the system's.
#pragma once

#include <windows.h>

constexpr int kLeastTimeout = 1, kMostTimeout = 65535;  // seconds

// A number that is stored, as seconds to show.
int ShownTimeout(LONG stored) noexcept;

class InputTimeouts {
  public:
    // `section` is a literal.
    explicit constexpr InputTimeouts(const wchar_t* section) noexcept : section_(section) {}

    static constexpr LONG kInfinite = -1;

    // Makes the section if it is missing: the rights to a missing one can't be asked for.
    void MakeSection() const noexcept;
    bool MayWrite() const noexcept;

    // Seconds or kInfinite. False when nothing is stored, or it can't be read.
    bool Read(LONG& stored) const;

    // The provider has five timeouts, which are kept alike. What can't be written stays as it was, unreported.
    void Write(LONG value) const;
    void Remove() const;

  private:
    const wchar_t* section_;
};
