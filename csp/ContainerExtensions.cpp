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
    if (!CryptGetProvParam(container_, kParameterExtensions, buffer_.data(), &length_, flags_)) return {};
    flags_ = 0;
    length_ = std::min(length_, static_cast<DWORD>(buffer_.size()));
    return std::span<const BYTE>(buffer_).first(length_);
}
