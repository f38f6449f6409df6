// The controllers of a domain, as they are shown and exported.
#pragma once

#include <windows.h>

#include <span>
#include <string>

struct DomainController {
    std::wstring name;        // in DNS
    std::wstring identifier;  // its object's in the directory: lower case, without braces
};

// The identifier as it is shown: in braces.
std::wstring ShownIdentifier(const DomainController& controller);

// Two lines for each controller: its name, its identifier. UTF-8, which for names in DNS is plain ASCII; lines end in
// carriage return and line feed.
std::string ExportText(std::span<const DomainController> controllers);

// Writes a file with exactly this text. 0 or a Win32 code: ERROR_FILE_EXISTS when there is such a file and it is not to
// be overwritten. One that is overwritten keeps its content until the new one is written whole beside it.
DWORD WriteExport(const std::wstring& path, const std::string& text, bool overwrite);
