#include "softcsp/crypto/CurveMath.h"  // first, for the library's header

#include "softcsp/crypto/KeyAgreement.h"

namespace softcsp {

std::optional<SymmetricKey> Agree(const KeyPair& own, const PublicKey& other, const KeyingMaterial& material) {
    const Curve curve = OpenCurve(own.Set());
    if (!curve) return std::nullopt;
    const Point point = ReadPoint(curve, other);
    const Number factor = ReadNumber(material, ByteOrder::LowestFirst);
    const Number key = ReadSecretNumber(own.Private().Bytes(), ByteOrder::LowestFirst);
    const Number order = BaseOrder(curve);
    const Number scalar(gcry_mpi_snew(0));
    auto digest = Digest::Create(DefaultParameterSet(ParameterKind::Digest));
    if (!point || !factor || !key || !order || !digest) return std::nullopt;
    // The curves' base points generate all of their points, so no cofactor comes in.
    gcry_mpi_mulm(scalar.get(), factor.get(), key.get(), order.get());
    Secret<64> shared;
    if (!Multiply(curve, point, scalar, shared.Room())) return std::nullopt;
    digest->Add(shared.Bytes());
    DigestValue value = digest->Value();
    const SymmetricKey agreed(value);
    SecureZeroMemory(value.data(), value.size());
    return agreed;
}

}  // namespace softcsp
