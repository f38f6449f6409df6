// Keys protected by the system's data protection, so that only the same user or the same computer can read them.
#pragma once

#include <windows.h>

#include <optional>

#include "softcsp/common/Secret.h"

namespace softcsp {

// `entropy` must be the same for both. Returns a Win32 code.
DWORD ProtectKey(const SymmetricKey& key, ByteView entropy, bool forTheComputer, Bytes& protectedKey);
// Empty if the system cannot, or the bytes are not a protected key.
std::optional<SymmetricKey> UnprotectKey(ByteView protectedKey, ByteView entropy);

}  // namespace softcsp
