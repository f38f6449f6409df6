#include "softcsp/container/KeyLock.h"

#include "softcsp/crypto/Random.h"

namespace softcsp {
namespace {

constexpr std::uint32_t kRounds = 2000;  // some 20 ms for each try
constexpr int kLongestUtf8 = static_cast<int>(Password::kLongest) * 4;

}  // namespace

std::optional<SymmetricKey> MakeMasterKey() {
    SymmetricKey key;
    return FillRandom(key.Room(), Randomness::LastingKey) ? std::optional(key) : std::nullopt;
}

std::optional<PasswordLock> LockMasterKey(const SymmetricKey& master, const Password& password) {
    PasswordLock lock;
    lock.hasPassword = !password.Empty();
    lock.rounds = lock.hasPassword ? kRounds : 1;
    if (!FillRandom(lock.salt)) return std::nullopt;
    const auto key = OpeningKey(lock, password);
    const auto sealed = key ? Seal(*key, master) : std::nullopt;
    if (!sealed) return std::nullopt;
    lock.master = *sealed;
    return lock;
}

std::optional<SymmetricKey> OpeningKey(const PasswordLock& lock, const Password& password) {
    Secret<kLongestUtf8> utf8;
    const std::wstring_view text = password.Text();
    const int size =
        text.empty() ? 0
                     : WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                           reinterpret_cast<char*>(utf8.Room().data()), kLongestUtf8, nullptr, nullptr);
    return DerivePasswordKey(ByteView(utf8.Bytes()).first(static_cast<std::size_t>(size)), lock.salt, lock.rounds);
}

std::optional<SymmetricKey> OpenLock(const PasswordLock& lock, const SymmetricKey& openingKey) {
    return Unseal(openingKey, lock.master);
}

std::optional<SealedKey> Seal(const SymmetricKey& by, const Secret<32>& key) {
    SealedKey sealed;
    if (!FillRandom(sealed.material)) return std::nullopt;
    const auto wrapped = WrapKey(Wrapping::Diversified, by, sealed.material, key);
    if (!wrapped) return std::nullopt;
    sealed.wrapped = *wrapped;
    return sealed;
}

std::optional<Secret<32>> Unseal(const SymmetricKey& by, const SealedKey& sealed) {
    return UnwrapKey(Wrapping::Diversified, by, sealed.material, sealed.wrapped);
}

}  // namespace softcsp
