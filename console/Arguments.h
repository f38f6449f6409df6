// The command line: options of all commands, the command with its parameters, and the help.
#pragma once

#include <windows.h>

#include <memory>
#include <span>
#include <string>

#include "console/Command.h"

// The options that every command has.
struct CommonOptions {
    bool json = false;
    bool silent = false;
    bool pinOnInput = false;
};

struct Request {
    CommonOptions options;
    std::string name;                  // of the command, such as "settings show"; empty when none is named
    std::unique_ptr<Command> command;  // empty when only a text is requested, or the usage is wrong
    std::wstring text;                 // the help or the version
    std::wstring problem;              // what is wrong; otherwise empty
};

// `arguments` without the program's name. Texts are in the program's language (console/Language.h).
Request ParseArguments(std::span<const std::wstring> arguments);

// What must be known before anything is written, also when the arguments are wrong: the language named by "--lang", 0
// without one, and whether "--json" is among the arguments.
LANGID RequestedLanguage(std::span<const std::wstring> arguments);
bool RequestsJson(std::span<const std::wstring> arguments);
