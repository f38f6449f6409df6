#include "softcsp/crypto/Library.h"

#include "softcsp/crypto/Digest.h"

#include <cstring>

namespace softcsp {

void Digest::Close::operator()(gcry_md_handle* handle) const {
    gcry_md_close(handle);
}

std::optional<Digest> Digest::Create(const ParameterSet& set) {
    if (set.kind != ParameterKind::Digest) return std::nullopt;
    PrepareCrypto();
    const int algorithm = set.example ? GCRY_MD_GOSTR3411_94 : GCRY_MD_GOSTR3411_CP;
    gcry_md_hd_t handle = nullptr;
    CheckCrypto(gcry_md_open(&handle, algorithm, GCRY_MD_FLAG_SECURE));  // secure, because keys are hashed too
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

DigestValue DigestOf(ByteView data) {
    auto digest = Digest::Create(DefaultParameterSet(ParameterKind::Digest));
    digest->Add(data);
    return digest->Value();
}

DigestValue AuthenticationCode(const SymmetricKey& key, ByteView data) {
    return ReadMac<DigestValue>(OpenMac(GCRY_MAC_HMAC_GOSTR3411_CP, key), data);
}

SymmetricKey DerivePasswordKey(ByteView password, const Salt& salt, std::uint32_t rounds) {
    PrepareCrypto();
    SymmetricKey key;
    const std::uint8_t none = 0;  // libgcrypt refuses a null address even for no bytes
    CheckCrypto(gcry_kdf_derive(password.empty() ? &none : password.data(), password.size(), GCRY_KDF_PBKDF2,
                                GCRY_MD_GOSTR3411_CP, salt.data(), salt.size(), rounds, key.Room().size(),
                                key.Room().data()));
    return key;
}

void FillRandom(std::span<std::uint8_t> bytes, Randomness randomness) {
    PrepareCrypto();
    gcry_randomize(bytes.data(), bytes.size(),
                   randomness == Randomness::LastingKey ? GCRY_VERY_STRONG_RANDOM : GCRY_STRONG_RANDOM);
}

}  // namespace softcsp
