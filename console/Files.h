// Files that the program writes.
#pragma once

#include <windows.h>

#include <cstddef>
#include <span>
#include <string>

#include "framework/Result.h"

enum class Existing { Keep, Replace };

// Writes a file as a whole: a failure leaves the file that was there before, or none. Fails with ERROR_ALREADY_EXISTS
// when the file exists and is to be kept, otherwise with the system's code.
Result<> WriteWholeFile(const std::wstring& path, std::span<const std::byte> bytes, Existing existing);
