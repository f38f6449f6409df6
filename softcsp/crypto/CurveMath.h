// Conversion between the bytes of keys and libgcrypt's numbers and points, for this folder only.
#pragma once

#include "softcsp/crypto/Library.h"

#include <cstdint>
#include <span>

#include "softcsp/common/Bytes.h"
#include "softcsp/crypto/ParameterSet.h"

namespace softcsp {

enum class ByteOrder { LowestFirst, HighestFirst };

// Of at most 32 bytes; null if memory is short. A secret number is kept in memory that is wiped, and multiplication by
// it takes a time that does not depend on it.
Number ReadNumber(ByteView bytes, ByteOrder order);
Number ReadSecretNumber(ByteView bytes, ByteOrder order);

// Fills all bytes, the highest ones with zeros if the number is short. False if it does not fit.
bool WriteNumber(const Number& number, std::span<std::uint8_t> bytes, ByteOrder order);

// Null if the set is not a curve.
Curve OpenCurve(const ParameterSet& set);
Number BaseOrder(const Curve& curve);  // of the curve's base point; private keys are below it

// Null if the key is not a point of the curve with both coordinates below the prime of the field.
Point ReadPoint(const Curve& curve, const PublicKey& key);
// The point times the number, encoded as a public key. False for the point at infinity.
bool Multiply(const Curve& curve, const Point& point, const Number& by, std::span<std::uint8_t, 64> product);

}  // namespace softcsp
