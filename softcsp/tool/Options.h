// What follows a command's name: names, switches and options with their values.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace softcsp {

using Arguments = std::span<const std::wstring_view>;

// Ends a command whose arguments make no sense: thrown where that is found, shown once by the tool's entry.
struct WrongUsage {
    std::wstring what;
};

struct Option {
    std::wstring_view name;
    std::size_t values = 0;  // that follow it; 0 = a switch
};

struct Count {
    std::size_t least, most;
};

class Options {
  public:
    // Throws WrongUsage on unknown and repeated options, missing values and another count of names. What follows a bare
    // "--" is a name whatever it looks like.
    Options(Arguments arguments, std::span<const Option> known, Count names);

    const std::vector<std::wstring>& Names() const { return names_; }
    bool Has(std::wstring_view option) const { return Find(option) != nullptr; }
    // The option's value with this index; nothing when it isn't given.
    std::optional<std::wstring> Value(std::wstring_view option, std::size_t index = 0) const;

  private:
    struct Given {
        std::wstring_view name;
        Arguments values;
    };
    const Given* Find(std::wstring_view option) const;
    std::size_t Take(Arguments arguments, std::span<const Option> known);

    std::vector<std::wstring> names_;
    std::vector<Given> given_;
};

// A whole decimal or 0x number of 32 bits.
std::optional<unsigned long> ParseNumber(std::wstring_view text);

}  // namespace softcsp
