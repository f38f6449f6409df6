// Command: one command of vestractl, with the parameters that it declares; the exit codes of all.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

class Session;

// In the order of their weight: of several results the greatest is the program's.
enum class ExitCode {
    Done = 0,   // nothing is wrong
    Found = 1,  // done, and something was found: a failed check, an expiring certificate, a difference
    Usage = 2,
    Failed = 3,
    Cancelled = 4,
};

// Receives the parameters that a command declares. Names are those of the command line, such as "--to"; other texts are
// string ids. Targets must outlive the parsing, and keep their values when the parameter isn't given.
class Parameters {
  public:
    // What is not an option, in the order of declaration. Only the last one may be of any number.
    virtual void Argument(UINT value, UINT help, std::wstring& target) = 0;
    virtual void Arguments(UINT value, UINT help, std::vector<std::wstring>& target) = 0;

    virtual void Flag(const char* name, UINT help, bool& target) = 0;
    virtual void Option(const char* name, UINT value, UINT help, std::optional<std::wstring>& target) = 0;
    virtual void Number(const char* name, UINT value, UINT help, int& target, int least, int most) = 0;

  protected:
    ~Parameters() = default;
};

class Command {
  public:
    virtual ~Command() = default;

    virtual void Declare(Parameters& parameters) = 0;

    // Called after the parameters have been read: what is wrong with their combination; empty when nothing is.
    virtual std::wstring WrongUsage() const { return {}; }

    virtual ExitCode Run(Session& session) = 0;
};

// A command as it is named on the command line and in the help. All texts are string ids.
struct CommandEntry {
    const char* name;
    const char* part;  // the second word ("show" of "settings show"), or nullptr
    UINT summary;      // one line
    UINT example;      // one or more command lines
    std::unique_ptr<Command> (*make)();
};

// All commands, in the order of the help (console/Commands.cpp).
std::span<const CommandEntry> Commands();
