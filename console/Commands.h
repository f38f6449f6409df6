// The commands, one unit in console/commands/ for each.
#pragma once

#include <memory>

#include "console/Command.h"

std::unique_ptr<Command> MakeList();
