// What a hash handle stands for.
#pragma once

#include <optional>

#include "softcsp/crypto/Digest.h"

namespace softcsp {

struct Hash {
    Digest digest;
    std::optional<DigestValue> value;  // asked for or set: nothing can be added any more
};

}  // namespace softcsp
