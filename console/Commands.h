// The commands, one unit in console/commands/ for each.
#pragma once

#include <memory>

#include "console/Command.h"

std::unique_ptr<Command> MakeList();
std::unique_ptr<Command> MakeCheck();
std::unique_ptr<Command> MakeCopy();
std::unique_ptr<Command> MakeDelete();
std::unique_ptr<Command> MakePassword();
std::unique_ptr<Command> MakeCertificates();
std::unique_ptr<Command> MakeInstall();
std::unique_ptr<Command> MakeExpiring();
std::unique_ptr<Command> MakeReconcile();
std::unique_ptr<Command> MakeSettingsShow();
std::unique_ptr<Command> MakeSettingsExport();
std::unique_ptr<Command> MakeSettingsCompare();
std::unique_ptr<Command> MakeSettingsApply();
std::unique_ptr<Command> MakeDoctor();
std::unique_ptr<Command> MakeVersions();
