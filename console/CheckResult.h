// The check of a container with all its rows, as the commands show it.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <optional>
#include <string>
#include <vector>

#include "console/Session.h"
#include "console/Value.h"
#include "csp/CheckRows.h"

struct CheckResult {
    bool passed = false;
    std::vector<CheckRow> rows;  // the verdict first
};

// Checks an open container. Empty when the user cancelled.
std::optional<CheckResult> RunCheck(HCRYPTPROV container, KeySet keySet, Session& session);

// The result as text: the container's name, then a line for each row.
void ShowCheck(const std::wstring& name, const CheckResult& result, Output& output);

// The result as an item of a document. Each row has a name that is the same in all languages.
Value CheckValue(const ContainerPlace& place, const CheckResult& result);
