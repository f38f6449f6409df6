// Whole files. Win32 codes, 0 = success.
#pragma once

#include <windows.h>

#include <string>

#include "softcsp/common/Bytes.h"

namespace softcsp {

constexpr std::size_t kLargestFile = 64 << 20;  // bytes

// ERROR_FILE_TOO_LARGE beyond that. On failure `bytes` stays as it was.
DWORD ReadFileWhole(const std::wstring& path, Bytes& bytes);

// In place of what is there, and on the disk when it returns. After a failure the file may be there in part.
DWORD WriteFileWhole(const std::wstring& path, ByteView bytes);

}  // namespace softcsp
