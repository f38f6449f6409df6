#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Digest.h"

#include <cstring>

namespace softcsp {

void Digest::Close::operator()(gcry_md_handle* handle) const {
    gcry_md_close(handle);
}

std::optional<Digest> Digest::Create(const ParameterSet& set) {
    if (set.kind != ParameterKind::Digest || !CryptoReady()) return std::nullopt;
    // The other boxes are those that the standard's example was counted with.
    const int algorithm = set.example ? GCRY_MD_GOSTR3411_94 : GCRY_MD_GOSTR3411_CP;
    gcry_md_hd_t handle = nullptr;
    // In secure memory, because keys are hashed too.
    if (gcry_md_open(&handle, algorithm, GCRY_MD_FLAG_SECURE) != 0) return std::nullopt;
    return Digest(handle);
}

std::optional<Digest> Digest::Copy() const {
    gcry_md_hd_t handle = nullptr;
    if (gcry_md_copy(&handle, handle_.get()) != 0) return std::nullopt;
    Digest copy(handle);
    copy.ended_ = ended_;
    return copy;
}

void Digest::Add(ByteView data) {
    if (!ended_) gcry_md_write(handle_.get(), data.data(), data.size());
}

DigestValue Digest::Value() {
    ended_ = true;
    DigestValue value;
    std::memcpy(value.data(), gcry_md_read(handle_.get(), 0), value.size());
    return value;
}

}  // namespace softcsp
