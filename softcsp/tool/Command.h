// What the tool's commands share: their arguments, their output, their failures and the containers that they are for;
// and the commands.
#pragma once

#include <windows.h>

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/container/ContainerStore.h"

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
    bool Has(std::wstring_view option) const { return given_.contains(option); }
    // The value of the option with this index; empty if the option is not given.
    std::optional<std::wstring> Value(std::wstring_view option, std::size_t index = 0) const;

  private:
    std::vector<std::wstring> names_;
    std::map<std::wstring_view, Arguments> given_;  // the values of each option
};

// A decimal or 0x number of 32 bits.
std::optional<unsigned long> ParseNumber(std::wstring_view text);
std::wstring HexNumber(unsigned long number);  // "0x1F"
// ASCII characters only.
std::string Narrow(std::wstring_view ascii);
// "WHAT=VALUE". Throws WrongUsage.
std::pair<std::wstring, std::wstring> SplitAtEquals(const std::wstring& text);

constexpr Option kMachine{L"--machine"};
constexpr Option kProvider{L"--provider", 1};
constexpr Option kPassword{L"--password", 1};
constexpr Option kScope[] = {kMachine, kProvider};
constexpr Option kScopeAndPassword[] = {kMachine, kProvider, kPassword};

// The user's containers of the 2001 provider, unless the options select others. Throws WrongUsage.
ContainerStore StoreOf(const Options& options);

// All throw CommandFailure with the container's name as given.
ContainerPlace FindContainer(const ContainerStore& store, const std::wstring& name);
Container LoadContainer(const ContainerStore& store, const std::wstring& name, ContainerPlace& place);
const ContainerKey& KeyOf(const Container& container, bool signatureKey);

// The master key, with the password of --password if the container has one.
SymmetricKey UnlockContainer(const Container& container, const Options& options);

// The value of --password, or an empty password. Throws WrongUsage.
Password PasswordOf(const Options& options);

// "exchange" or "signature".
const wchar_t* KeyName(bool signatureKey);

// The commands. They throw CommandFailure and WrongUsage.
void RunInit(Arguments arguments);         // options
void RunCreate(Arguments arguments);       // NAME, options
void RunList(Arguments arguments);         // options
void RunShow(Arguments arguments);         // NAME, options
void RunRemove(Arguments arguments);       // NAME, options
void RunCertificate(Arguments arguments);  // NAME…, options
void RunSet(Arguments arguments);          // NAME WHAT=VALUE, options; or SETTING=VALUE
void RunSetting(const std::wstring& argument);
void RunCarrier(Arguments arguments);  // add | eject | insert | remove NAME, or list
void RunStore(Arguments arguments);    // get | put | del | deny | allow PATH

}  // namespace softcsp
