#include "softcsp/crypto/Library.h"  // first, because of the order that libgcrypt's header requires

#include "softcsp/crypto/KeyPair.h"

#include <algorithm>
#include <span>

namespace softcsp {
namespace {

constexpr std::size_t kHalf = 32;  // bytes of a private key, a coordinate, of r and of s

enum class ByteOrder { LowestFirst, HighestFirst };

// libgcrypt reads numbers highest byte first, and keeps secure those that are read from secure memory.
Number Scan(ByteView bytes, ByteOrder order, std::uint8_t* buffer) {
    if (order == ByteOrder::LowestFirst)
        std::reverse_copy(bytes.begin(), bytes.end(), buffer);
    else
        std::copy(bytes.begin(), bytes.end(), buffer);
    gcry_mpi_t number = nullptr;
    CheckCrypto(gcry_mpi_scan(&number, GCRYMPI_FMT_USG, buffer, bytes.size(), nullptr));
    return Number(number);
}

// Of at most 32 bytes.
Number ReadNumber(ByteView bytes, ByteOrder order) {
    std::uint8_t buffer[kHalf];
    return Scan(bytes, order, buffer);
}

// The number is kept in memory that is wiped, and multiplication by it takes a time that does not depend on it.
Number ReadSecretNumber(const PrivateKey& key) {
    const std::unique_ptr<std::uint8_t, Release<gcry_free>> buffer(
        static_cast<std::uint8_t*>(gcry_xmalloc_secure(kHalf)));
    return Scan(key.Bytes(), ByteOrder::LowestFirst, buffer.get());
}

// Fills all bytes, the highest ones with zeros if the number is short.
void WriteNumber(const Number& number, std::span<std::uint8_t> bytes, ByteOrder order) {
    std::size_t size = 0;
    CheckCrypto(gcry_mpi_print(GCRYMPI_FMT_USG, bytes.data(), bytes.size(), &size, number.get()));
    const auto count = static_cast<std::ptrdiff_t>(size);
    std::fill(bytes.begin() + count, bytes.end(), std::uint8_t{0});
    if (order == ByteOrder::LowestFirst)
        std::reverse(bytes.begin(), bytes.begin() + count);
    else
        std::rotate(bytes.begin(), bytes.begin() + count, bytes.end());
}

// Null if the set is not a curve.
Curve OpenCurve(const ParameterSet& set) {
    if (set.kind != ParameterKind::Signature && set.kind != ParameterKind::Exchange) return nullptr;
    PrepareCrypto();
    gcry_ctx_t curve = nullptr;
    CheckCrypto(gcry_mpi_ec_new(&curve, nullptr, set.identifier));
    return Curve(curve);
}

// Of the curve's base point; private keys are below it.
Number BaseOrder(const Curve& curve) {
    return Number(gcry_mpi_ec_get_mpi("n", curve.get(), 1));
}

// Null if the key is not a point of the curve with both coordinates below the prime of the field.
Point ReadPoint(const Curve& curve, const PublicKey& key) {
    const ByteView bytes(key);
    const Number x = ReadNumber(bytes.first(kHalf), ByteOrder::LowestFirst);
    const Number y = ReadNumber(bytes.last(kHalf), ByteOrder::LowestFirst);
    Point point(gcry_mpi_point_set(nullptr, x.get(), y.get(), GCRYMPI_CONST_ONE));
    return gcry_mpi_ec_curve_point(point.get(), curve.get()) ? std::move(point) : nullptr;
}

// The point times the number, encoded as a public key. False for the point at infinity.
bool Multiply(const Curve& curve, const Point& point, const Number& by, std::span<std::uint8_t, 64> product) {
    // The product may be a shared secret, so it is computed in secure memory.
    const auto room = [] { return gcry_mpi_snew(8 * kHalf); };
    const Point result(gcry_mpi_point_snatch_set(nullptr, room(), room(), room()));
    const Number x(room()), y(room());
    gcry_mpi_ec_mul(result.get(), by.get(), point.get(), curve.get());
    if (gcry_mpi_ec_get_affine(x.get(), y.get(), result.get(), curve.get()) != 0) return false;
    WriteNumber(x, product.first<kHalf>(), ByteOrder::LowestFirst);
    WriteNumber(y, product.last<kHalf>(), ByteOrder::LowestFirst);
    return true;
}

template <typename... Parts>
Expression Build(const char* format, Parts... parts) {
    gcry_sexp_t built = nullptr;
    CheckCrypto(gcry_sexp_build(&built, nullptr, format, parts...));
    return Expression(built);
}

// The number that follows the name, at any depth.
Number Find(const Expression& expression, const char* name) {
    const Expression found(gcry_sexp_find_token(expression.get(), name, 0));
    return Number(gcry_sexp_nth_mpi(found.get(), 1, GCRYMPI_FMT_USG));
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
    return Build("(data (flags gost) (value %m))", number.get());
}

}  // namespace

std::optional<KeyPair> KeyPair::Generate(const ParameterSet& set, Randomness randomness) {
    if (!OpenCurve(set)) return std::nullopt;
    // Numbers that are too large, at most half of all, are drawn again, so that the others are equally likely.
    for (;;) {
        PrivateKey key;
        FillRandom(key.Room(), randomness);
        if (auto pair = FromPrivate(set, key)) return pair;
    }
}

std::optional<KeyPair> KeyPair::FromPrivate(const ParameterSet& set, const PrivateKey& key) {
    const Curve curve = OpenCurve(set);
    if (!curve) return std::nullopt;
    const Number number = ReadSecretNumber(key), order = BaseOrder(curve);
    const Point base(gcry_mpi_ec_get_point("g", curve.get(), 1));
    if (gcry_mpi_cmp_ui(number.get(), 0) == 0 || gcry_mpi_cmp(number.get(), order.get()) >= 0) return std::nullopt;
    PublicKey point;
    Multiply(curve, base, number, point);
    return KeyPair(set, key, point);
}

Signature KeyPair::Sign(const DigestValue& digest) const {
    const Number number = ReadSecretNumber(private_);
    const Expression data = BuildDigest(digest);
    const auto point = Encode(public_);
    const Expression key = Build("(private-key (ecc (curve %s) (flags gost) (q %b) (d %m)))", set_->identifier,
                                 static_cast<int>(point.size()), point.data(), number.get());
    gcry_sexp_t made = nullptr;
    CheckCrypto(gcry_pk_sign(&made, data.get(), key.get()));
    const Expression expression(made);
    Signature signature;
    const std::span<std::uint8_t> both(signature);
    WriteNumber(Find(expression, "s"), both.first(kHalf), ByteOrder::HighestFirst);
    WriteNumber(Find(expression, "r"), both.last(kHalf), ByteOrder::HighestFirst);
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
    const Expression data = BuildDigest(digest), expression = Build("(sig-val (gost (r %m) (s %m)))", r.get(), s.get());
    return gcry_pk_verify(expression.get(), data.get(), publicKey.get()) == 0;
}

std::optional<SymmetricKey> Agree(const KeyPair& own, const PublicKey& other, const KeyingMaterial& material) {
    const Curve curve = OpenCurve(own.Set());
    const Point point = ReadPoint(curve, other);
    if (!point) return std::nullopt;
    const Number factor = ReadNumber(material, ByteOrder::LowestFirst), order = BaseOrder(curve);
    const Number key = ReadSecretNumber(own.Private()), scalar(gcry_mpi_snew(0));
    // The base points generate all points of their curves, so the cofactor is 1.
    gcry_mpi_mulm(scalar.get(), factor.get(), key.get(), order.get());
    Secret<64> shared;
    if (!Multiply(curve, point, scalar, shared.Room())) return std::nullopt;
    DigestValue value = DigestOf(shared.Bytes());
    const SymmetricKey agreed(value);
    Wipe(value.data(), value.size());
    return agreed;
}

}  // namespace softcsp
