// The parts of ASN.1's distinguished encoding (DER) that keys, parameters, extensions and certificates use.
// Independent of <windows.h>, so that it can be fuzzed natively.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string_view>
#include <vector>

#include "softcsp/common/Bytes.h"

namespace softcsp::der {

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kBitString = 0x03;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint8_t kObjectIdentifier = 0x06;
constexpr std::uint8_t kSequence = 0x30;

// One element: tag, length, the parts one after the other.
Bytes Element(std::uint8_t tag, std::initializer_list<ByteView> parts);
// `dotted` is a constant such as "1.2.643.2.2.19"; it is not checked.
Bytes ObjectIdentifier(std::string_view dotted);

// Reads elements one after the other. Lengths are checked against the bytes present; only definite lengths in their
// shortest form are accepted.
class Reader {
  public:
    explicit Reader(ByteView bytes) : rest_(bytes) {}

    bool AtEnd() const { return rest_.empty(); }
    std::uint8_t NextTag() const { return rest_.empty() ? 0 : rest_[0]; }
    // The content of the next element, if it has this tag. The reader then continues after it.
    std::optional<ByteView> Read(std::uint8_t tag);
    // The next element whole, with tag and length.
    std::optional<ByteView> ReadWhole();

  private:
    ByteView rest_;
};

}  // namespace softcsp::der

namespace softcsp {

// Exactly one whole certificate: a sequence of its content, an algorithm and a signature.
bool IsCertificate(ByteView der);

// The value of a container extension: a sequence of whole certificates.
Bytes EncodeCertificateSequence(const std::vector<Bytes>& certificates);
std::optional<std::vector<ByteView>> DecodeCertificateSequence(ByteView der);

}  // namespace softcsp
