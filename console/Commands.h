// The commands, one unit in console/commands/ for each.
#pragma once

#include <memory>

#include "console/Command.h"

std::unique_ptr<Command> MakeList();
std::unique_ptr<Command> MakeExpiring();
std::unique_ptr<Command> MakeReconcile();
std::unique_ptr<Command> MakeSettingsShow();
std::unique_ptr<Command> MakeSettingsExport();
std::unique_ptr<Command> MakeSettingsCompare();
std::unique_ptr<Command> MakeSettingsApply();
std::unique_ptr<Command> MakeVersions();
