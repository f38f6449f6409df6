// A path of the configuration store: "\scope\section\…\name". Knows nothing of Windows.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace softcsp {

class StorePath {
  public:
    // No path when the text is null, doesn't begin with a backslash, has an empty component (a trailing backslash
    // makes one), a component of more than 255 characters, or more than 4096 characters in all.
    static std::optional<StorePath> Parse(const wchar_t* text);

    bool IsLocal() const { return local_; }             // the scope is "\local", in any letter case
    bool HasName() const { return parts_.size() > 1; }  // names something beneath a scope, so can be a parameter
    const std::wstring& Name() const { return parts_.back(); }

    std::wstring Section() const { return Join(parts_.size()); }     // the whole path, read as a section
    std::wstring Parent() const { return Join(parts_.size() - 1); }  // the section that a parameter lies in

    // The path itself and each path above it, the scope first.
    std::vector<std::wstring> Lineage() const;

  private:
    std::wstring Join(std::size_t count) const;  // the first components, each after a backslash

    std::vector<std::wstring> parts_;
    bool local_ = false;
};

}  // namespace softcsp
