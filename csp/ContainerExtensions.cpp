#include "csp/ContainerExtensions.h"

#include "csp/ProviderParameters.h"

Outcome ContainerExtensions::Begin() {
    flags_ = CRYPT_FIRST;
    length_ = 0;
    const Outcome outcome = Taken(CryptGetProvParam(container_, kParameterExtensions, nullptr, &length_, CRYPT_FIRST));
    // Never without a buffer, which would ask for the length again, and succeed for ever.
    if (outcome.done) buffer_.assign(std::max<DWORD>(length_, 1), 0);
    return outcome;
}

std::optional<std::span<const BYTE>> ContainerExtensions::Next() {
    if (room_ == Room::Largest) length_ = static_cast<DWORD>(buffer_.size());
    end_ = Taken(CryptGetProvParam(container_, kParameterExtensions, buffer_.data(), &length_, flags_));
    if (!end_.done) return {};
    flags_ = 0;  // CRYPT_NEXT isn't what the provider wants here
    length_ = std::min(length_, static_cast<DWORD>(buffer_.size()));
    return std::span<const BYTE>(buffer_).first(length_);
}
