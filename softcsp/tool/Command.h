// What the tool's commands share: their arguments, their output and their failures; and the commands.
#pragma once

#include <windows.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "softcsp/common/ExportGuard.h"

namespace softcsp {

using Arguments = std::span<const std::wstring_view>;

// Ends a command whose arguments are wrong.
struct WrongUsage {
    std::wstring what = L"wrong usage";
};

// Ends a command that failed.
struct CommandFailure {
    std::wstring what;  // "can't write …"
    DWORD code = 0;     // of Win32, CryptoAPI or smart cards
};

// Throws CommandFailure unless the code is 0.
void Check(DWORD code, const std::wstring& what);

enum class Stream { Output, Error };

// UTF-8 to files and pipes, wide characters to a console window.
void Print(Stream stream, std::wstring_view text);

struct Option {
    std::wstring_view name;
    std::size_t values = 0;  // that follow it; 0 = a switch
};

struct Count {
    std::size_t least, most;
};

class Options {
  public:
    // Throws WrongUsage for unknown and repeated options, missing values and another number of names. Everything after
    // a bare "--" is a name.
    Options(Arguments arguments, std::span<const Option> known, Count names);

    const std::vector<std::wstring>& Names() const { return names_; }
    bool Has(std::wstring_view option) const { return Find(option) != nullptr; }
    // The value of the option with this index; empty if the option is not given.
    std::optional<std::wstring> Value(std::wstring_view option, std::size_t index = 0) const;

  private:
    struct Given {
        std::wstring_view name;
        Arguments values;
    };
    const Given* Find(std::wstring_view option) const;
    std::size_t Read(Arguments arguments, std::span<const Option> known);

    std::vector<std::wstring> names_;
    std::vector<Given> given_;
};

// A decimal or 0x number of 32 bits.
std::optional<unsigned long> ParseNumber(std::wstring_view text);
std::wstring HexNumber(unsigned long number);  // "0x1F"
// ASCII characters only.
std::string Narrow(std::wstring_view ascii);
// "WHAT=VALUE". Throws WrongUsage.
std::pair<std::wstring, std::wstring> SplitAtEquals(const std::wstring& text);

// The commands. They throw CommandFailure and WrongUsage.
void RunInit(Arguments arguments);         // options
void RunCreate(Arguments arguments);       // NAME, options
void RunList(Arguments arguments);         // options
void RunShow(Arguments arguments);         // NAME, options
void RunRemove(Arguments arguments);       // NAME, options
void RunCertificate(Arguments arguments);  // NAME…, options
void RunSet(Arguments arguments);          // NAME WHAT=VALUE, options; or SETTING=VALUE
void RunCarrier(Arguments arguments);      // add | eject | insert | remove NAME, or list
void RunCalls(Arguments arguments);        // PROGRAM, options
void RunStore(Arguments arguments);        // get | put | del | deny | allow PATH

}  // namespace softcsp
