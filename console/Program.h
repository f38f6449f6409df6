// One run of the program.
#pragma once

#include <span>
#include <string>

#include "console/Output.h"

// Runs what the arguments (without the program's name) request, and ends the output. The only place with a catch-all.
ExitCode RunConsole(std::span<const std::wstring> arguments, Output& output);
