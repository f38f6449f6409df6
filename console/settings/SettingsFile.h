// The settings document as a file: JSON with a format number and the settings by their names.
#pragma once

#include <windows.h>

#include <string>

#include "console/Output.h"
#include "console/Value.h"
#include "console/settings/SettingsDocument.h"
#include "framework/Result.h"

Value ValueOf(const SettingValue& value);

// An object with the settings by their names.
Value SettingsValue(const SettingEntries& entries);

// Fails with a Win32 code; ERROR_ALREADY_EXISTS when the file exists and `overwrite` is false.
Result<> WriteSettingsFile(const std::wstring& path, const SettingEntries& entries, bool overwrite);

// A path beside `path` for the settings as they were before, with the time in it; no such file exists.
std::wstring BackupPath(const std::wstring& path);

// Reports what keeps the file from being read, and returns false then. The other members of the document are ignored,
// so that what "settings show" printed can be read, too.
bool ReadSettingsFile(const std::wstring& path, SettingEntries& entries, Output& output);
