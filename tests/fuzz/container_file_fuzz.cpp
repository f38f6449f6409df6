// Feeds the parser of container files with any bytes: what it reads must be written and read again without a change.
#include <cstdlib>

#include "softcsp/container/Container.h"

// The parser is linked without libgcrypt: digests are zero, and no key is sealed.
namespace softcsp {

DigestValue DigestOf(ByteView) {
    return DigestValue{};
}
DigestValue AuthenticationCode(const SymmetricKey&, ByteView) {
    return DigestValue{};
}
bool EqualInConstantTime(ByteView, ByteView) {
    return true;
}
SymmetricKey CreateMasterKey() {
    return SymmetricKey();
}
PasswordLock LockMasterKey(const SymmetricKey&, const Password&, Protection) {
    return {};
}
std::optional<SymmetricKey> OpeningKey(const PasswordLock&, const Password&) {
    return SymmetricKey();
}
std::optional<SymmetricKey> OpenLock(const PasswordLock&, const SymmetricKey&) {
    return SymmetricKey();
}
SealedKey SealPrivateKey(const SymmetricKey&, const PrivateKey&, bool exportable) {
    SealedKey sealed;
    sealed.attributes.emplace()[0] = exportable;
    return sealed;
}
std::optional<PrivateKey> Unseal(const SymmetricKey&, const SealedKey&) {
    return PrivateKey();
}

}  // namespace softcsp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    IsIntact({data, size});
    auto container = ReadContainer({data, size});
    if (!container) return 0;
    const Bytes written = WriteContainer(*container);
    const auto again = ReadContainer(written);
    if (!again || WriteContainer(*again) != written) std::abort();
    // Bringing it to format 2 makes a container that can be read.
    if (!AuthenticateWithoutPassword(*container)) return 0;
    const auto second = ReadContainer(WriteContainer(*container));
    if (!second || second->format != 2 || second->name != again->name) std::abort();
    return 0;
}
