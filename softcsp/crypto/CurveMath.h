// Between the bytes of keys and libgcrypt's numbers and points. Private to the classes of this directory.
#pragma once

#include "softcsp/crypto/Library.h"

#include <cstdint>
#include <span>

#include "softcsp/crypto/KeyPair.h"

namespace softcsp {

enum class ByteOrder { LowestFirst, HighestFirst };

// Of at most 32 bytes; null when memory is short. A secret number lies in memory that is wiped, and points are
// multiplied by it in a time that doesn't depend on it.
Number ReadNumber(ByteView bytes, ByteOrder order);
Number ReadSecretNumber(ByteView bytes, ByteOrder order);

// As many bytes as there are, the highest ones zero where the number is short. False when it doesn't fit.
bool WriteNumber(const Number& number, std::span<std::uint8_t> bytes, ByteOrder order);

// Null when the set is none of a curve.
Curve OpenCurve(const ParameterSet& set);
Number BaseOrder(const Curve& curve);  // of the curve's base point; private keys are below it

// Null when the key isn't a point of the curve, in the only way to write it: both coordinates below the field's prime.
Point ReadPoint(const Curve& curve, const PublicKey& key);
// The point times the number, as a public key has it. False when that is the point at infinity.
bool Multiply(const Curve& curve, const Point& point, const Number& by, std::span<std::uint8_t, 64> product);

}  // namespace softcsp
