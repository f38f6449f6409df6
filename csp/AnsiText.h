// Texts that a provider gives in the system's ANSI code page.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

#include "csp/Outcome.h"

std::wstring FromAnsi(std::string_view text);

// Up to the terminator, if there is one.
std::wstring FromAnsi(const Bytes& text);
