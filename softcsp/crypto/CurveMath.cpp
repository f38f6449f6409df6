#include "softcsp/crypto/CurveMath.h"

#include <algorithm>

namespace softcsp {
namespace {

constexpr std::size_t kNumberSize = 32;  // bytes

// libgcrypt reads numbers highest byte first, and keeps secure those that are read from secure memory.
Number Scan(ByteView bytes, ByteOrder order, std::uint8_t* buffer) {
    if (bytes.size() > kNumberSize) return nullptr;
    if (order == ByteOrder::LowestFirst)
        std::reverse_copy(bytes.begin(), bytes.end(), buffer);
    else
        std::copy(bytes.begin(), bytes.end(), buffer);
    gcry_mpi_t number = nullptr;
    if (gcry_mpi_scan(&number, GCRYMPI_FMT_USG, buffer, bytes.size(), nullptr) != 0) return nullptr;
    return Number(number);
}

}  // namespace

Number ReadNumber(ByteView bytes, ByteOrder order) {
    std::uint8_t buffer[kNumberSize];
    return Scan(bytes, order, buffer);
}

Number ReadSecretNumber(ByteView bytes, ByteOrder order) {
    const std::unique_ptr<std::uint8_t, Release<gcry_free>> buffer(
        static_cast<std::uint8_t*>(gcry_malloc_secure(kNumberSize)));
    return buffer ? Scan(bytes, order, buffer.get()) : nullptr;
}

bool WriteNumber(const Number& number, std::span<std::uint8_t> bytes, ByteOrder order) {
    std::size_t size = 0;
    if (gcry_mpi_print(GCRYMPI_FMT_USG, bytes.data(), bytes.size(), &size, number.get()) != 0) return false;
    const auto count = static_cast<std::ptrdiff_t>(size);
    std::fill(bytes.begin() + count, bytes.end(), std::uint8_t{0});
    if (order == ByteOrder::LowestFirst)
        std::reverse(bytes.begin(), bytes.begin() + count);
    else
        std::rotate(bytes.begin(), bytes.begin() + count, bytes.end());
    return true;
}

Curve OpenCurve(const ParameterSet& set) {
    if (set.kind != ParameterKind::Signature && set.kind != ParameterKind::Exchange) return nullptr;
    gcry_ctx_t curve = nullptr;
    if (!CryptoReady() || gcry_mpi_ec_new(&curve, nullptr, set.identifier) != 0) return nullptr;
    return Curve(curve);
}

Number BaseOrder(const Curve& curve) {
    return Number(gcry_mpi_ec_get_mpi("n", curve.get(), 1));
}

Point ReadPoint(const Curve& curve, const PublicKey& key) {
    const ByteView bytes(key);
    const Number x = ReadNumber(bytes.first(kNumberSize), ByteOrder::LowestFirst);
    const Number y = ReadNumber(bytes.last(kNumberSize), ByteOrder::LowestFirst);
    if (!x || !y) return nullptr;
    Point point(gcry_mpi_point_set(nullptr, x.get(), y.get(), GCRYMPI_CONST_ONE));
    // This also checks the range of the coordinates.
    return gcry_mpi_ec_curve_point(point.get(), curve.get()) ? std::move(point) : nullptr;
}

bool Multiply(const Curve& curve, const Point& point, const Number& by, std::span<std::uint8_t, 64> product) {
    // The product may be a shared secret, so it is computed in secure memory.
    const auto room = [] { return gcry_mpi_snew(8 * kNumberSize); };
    const Point result(gcry_mpi_point_snatch_set(nullptr, room(), room(), room()));
    const Number x(room()), y(room());
    gcry_mpi_ec_mul(result.get(), by.get(), point.get(), curve.get());
    return gcry_mpi_ec_get_affine(x.get(), y.get(), result.get(), curve.get()) == 0 &&
           WriteNumber(x, product.first<kNumberSize>(), ByteOrder::LowestFirst) &&
           WriteNumber(y, product.last<kNumberSize>(), ByteOrder::LowestFirst);
}

}  // namespace softcsp
