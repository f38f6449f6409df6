// The hash function GOST R 34.11-94 (RFC 5831), of data that comes in pieces.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "softcsp/crypto/ParameterSet.h"
#include "softcsp/crypto/Secret.h"

struct gcry_md_handle;

namespace softcsp {

// In the order in which messages carry it, that is the standard's number with its lowest byte first.
using DigestValue = std::array<std::uint8_t, 32>;

class Digest {
  public:
    // Nothing when the set isn't one of kind Digest or memory is short.
    static std::optional<Digest> Create(const ParameterSet& set);
    // With everything that was added so far, for going on in two ways.
    std::optional<Digest> Copy() const;

    void Add(ByteView data);
    // Of everything added. What is added after it is left aside.
    DigestValue Value();

  private:
    struct Close {
        void operator()(gcry_md_handle* handle) const;
    };
    explicit Digest(gcry_md_handle* handle) : handle_(handle) {}

    std::unique_ptr<gcry_md_handle, Close> handle_;
    bool ended_ = false;  // the value was asked for
};

}  // namespace softcsp
