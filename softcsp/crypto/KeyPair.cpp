#include "softcsp/crypto/CurveMath.h"  // first, because of the order that libgcrypt's header requires

#include "softcsp/crypto/KeyPair.h"

#include <algorithm>
#include <span>

namespace softcsp {
namespace {

constexpr std::size_t kHalf = 32;  // bytes of a coordinate, of r and of s
constexpr int kMaxAttempts = 256;  // to draw a private key; never reached in practice

template <typename... Parts>
Expression Build(const char* format, Parts... parts) {
    gcry_sexp_t built = nullptr;
    if (gcry_sexp_build(&built, nullptr, format, parts...) != 0) return nullptr;
    return Expression(built);
}

// The number that follows the name, at any depth; null if there is none.
Number Find(const Expression& expression, const char* name) {
    const Expression found(gcry_sexp_find_token(expression.get(), name, 0));
    return Number(found ? gcry_sexp_nth_mpi(found.get(), 1, GCRYMPI_FMT_USG) : nullptr);
}

// The point in libgcrypt's encoding: a byte 4, then both coordinates highest byte first.
std::array<std::uint8_t, 65> Encode(const PublicKey& key) {
    std::array<std::uint8_t, 65> point{4};
    std::reverse_copy(key.begin(), key.begin() + kHalf, point.begin() + 1);
    std::reverse_copy(key.begin() + kHalf, key.end(), point.begin() + 1 + kHalf);
    return point;
}

Expression BuildDigest(const DigestValue& digest) {
    const Number number = ReadNumber(digest, ByteOrder::LowestFirst);
    return number ? Build("(data (flags gost) (value %m))", number.get()) : nullptr;
}

}  // namespace

std::optional<KeyPair> KeyPair::Generate(const ParameterSet& set, Randomness randomness) {
    if (!OpenCurve(set)) return std::nullopt;
    // Numbers that are too large, at most half of all, are drawn again, so that the others are equally likely.
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        PrivateKey key;
        if (!FillRandom(key.Room(), randomness)) return std::nullopt;
        if (auto pair = FromPrivate(set, key)) return pair;
    }
    return std::nullopt;
}

std::optional<KeyPair> KeyPair::FromPrivate(const ParameterSet& set, const PrivateKey& key) {
    const Curve curve = OpenCurve(set);
    if (!curve) return std::nullopt;
    const Number number = ReadSecretNumber(key.Bytes(), ByteOrder::LowestFirst);
    const Number order = BaseOrder(curve);
    const Point base(gcry_mpi_ec_get_point("g", curve.get(), 1));
    if (!number || !order || !base) return std::nullopt;
    if (gcry_mpi_cmp_ui(number.get(), 0) == 0 || gcry_mpi_cmp(number.get(), order.get()) >= 0) return std::nullopt;
    PublicKey point;
    if (!Multiply(curve, base, number, point)) return std::nullopt;
    return KeyPair(set, key, point);
}

std::optional<Signature> KeyPair::Sign(const DigestValue& digest) const {
    const Number number = ReadSecretNumber(private_.Bytes(), ByteOrder::LowestFirst);
    const Expression data = BuildDigest(digest);
    if (!number || !data) return std::nullopt;
    const auto point = Encode(public_);
    const Expression key = Build("(private-key (ecc (curve %s) (flags gost) (q %b) (d %m)))", set_->identifier,
                                 static_cast<int>(point.size()), point.data(), number.get());
    gcry_sexp_t made = nullptr;
    if (!key || gcry_pk_sign(&made, data.get(), key.get()) != 0) return std::nullopt;
    const Expression expression(made);
    const Number r = Find(expression, "r"), s = Find(expression, "s");
    Signature signature;
    const std::span<std::uint8_t> both(signature);
    if (!r || !s || !WriteNumber(s, both.first(kHalf), ByteOrder::HighestFirst) ||
        !WriteNumber(r, both.last(kHalf), ByteOrder::HighestFirst))
        return std::nullopt;
    return signature;
}

bool IsPublicKey(const ParameterSet& set, const PublicKey& key) {
    const Curve curve = OpenCurve(set);
    return curve && ReadPoint(curve, key);
}

bool Verify(const ParameterSet& set, const PublicKey& key, const DigestValue& digest, const Signature& signature) {
    if (!IsPublicKey(set, key)) return false;
    const auto point = Encode(key);
    const Expression publicKey = Build("(public-key (ecc (curve %s) (flags gost) (q %b)))", set.identifier,
                                       static_cast<int>(point.size()), point.data());
    const ByteView both(signature);
    const Number s = ReadNumber(both.first(kHalf), ByteOrder::HighestFirst);
    const Number r = ReadNumber(both.last(kHalf), ByteOrder::HighestFirst);
    const Expression data = BuildDigest(digest);
    if (!publicKey || !data || !r || !s) return false;
    const Expression expression = Build("(sig-val (gost (r %m) (s %m)))", r.get(), s.get());
    return expression && gcry_pk_verify(expression.get(), data.get(), publicKey.get()) == 0;
}

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
    // The base points generate all points of their curves, so the cofactor is 1.
    gcry_mpi_mulm(scalar.get(), factor.get(), key.get(), order.get());
    Secret<64> shared;
    if (!Multiply(curve, point, scalar, shared.Room())) return std::nullopt;
    digest->Add(shared.Bytes());
    DigestValue value = digest->Value();
    const SymmetricKey agreed(value);
    Wipe(value.data(), value.size());
    return agreed;
}

}  // namespace softcsp
