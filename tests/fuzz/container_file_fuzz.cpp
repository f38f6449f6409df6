// Feeds the parser of container files with any bytes: what it reads must be written and read again without a change.
#include <cstdlib>

#include "softcsp/container/Container.h"

// The parser is linked without libgcrypt: digests are zero, and no key is sealed.
namespace softcsp {

#define STUB(result, function, value, ...) \
    result function(__VA_ARGS__) {         \
        return value;                      \
    }
STUB(DigestValue, DigestOf, {}, ByteView)
STUB(DigestValue, AuthenticationCode, {}, const SymmetricKey&, ByteView)
STUB(bool, EqualInConstantTime, true, ByteView, ByteView)
STUB(SymmetricKey, CreateMasterKey, {})
STUB(PasswordLock, LockMasterKey, {}, const SymmetricKey&, const Password&, Protection)
STUB(std::optional<SymmetricKey>, OpeningKey, SymmetricKey(), const PasswordLock&, const Password&)
STUB(std::optional<SymmetricKey>, OpenLock, SymmetricKey(), const PasswordLock&, const SymmetricKey&)
STUB(SealedKey, SealPrivateKey, SealedKey{.attributes{{}}}, const SymmetricKey&, const PrivateKey&, bool)

}  // namespace softcsp

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace softcsp;
    IsIntact({data, size});
    auto container = ReadContainer({data, size});
    if (!container) return 0;
    const Bytes written = WriteContainer(*container);
    const auto again = ReadContainer(written);
    if (!again || WriteContainer(*again) != written) std::abort();
    return 0;
}
