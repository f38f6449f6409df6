#include "softcsp/crypto/CurveMath.h"  // first, for the library's header

#include <algorithm>
#include <span>

#include "softcsp/crypto/KeyPair.h"
#include "softcsp/crypto/Random.h"

namespace softcsp {
namespace {

constexpr std::size_t kHalf = 32;  // bytes of a coordinate, of r and of s
constexpr int kMaxAttempts = 256;  // at drawing a private key; not to be reached

template <typename... Parts>
Expression Build(const char* format, Parts... parts) {
    gcry_sexp_t built = nullptr;
    if (gcry_sexp_build(&built, nullptr, format, parts...) != 0) return nullptr;
    return Expression(built);
}

// The number that follows the name, wherever that is; null when it isn't there.
Number Find(const Expression& expression, const char* name) {
    const Expression found(gcry_sexp_find_token(expression.get(), name, 0));
    return Number(found ? gcry_sexp_nth_mpi(found.get(), 1, GCRYMPI_FMT_USG) : nullptr);
}

// The point as libgcrypt's keys have it: a byte 4, then both coordinates highest byte first.
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

std::optional<KeyPair> KeyPair::Generate(const ParameterSet& set) {
    if (!OpenCurve(set)) return std::nullopt;
    // Numbers that are too large are drawn again, so that all the others stay equally likely. At most half are.
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        PrivateKey key;
        if (!FillRandom(key.Room(), Randomness::LastingKey)) return std::nullopt;
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

}  // namespace softcsp
