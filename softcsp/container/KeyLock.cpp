#include "softcsp/container/KeyLock.h"

#include <windows.h>
#include <wincrypt.h>
#include <dpapi.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <stdexcept>

#include "softcsp/common/Handles.h"
#include "softcsp/common/Settings.h"

namespace softcsp {
namespace {

constexpr double kWantedTime = 200;  // milliseconds for one attempt at a password
constexpr std::uint32_t kFewestRounds = 20'000;
constexpr std::uint32_t kMostTimesRounds = 10;
constexpr std::uint32_t kSampleRounds = 500;
constexpr int kSamples = 5;
constexpr int kLongestUtf8 = static_cast<int>(Password::kLongest) * 4;

std::atomic<std::uint32_t> calibrated = 0;  // per process and library; 0 = not measured yet

double Milliseconds() {
    LARGE_INTEGER count, frequency;
    QueryPerformanceCounter(&count);
    QueryPerformanceFrequency(&frequency);
    return 1000.0 * static_cast<double>(count.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// As many rounds as take kWantedTime. The fastest of several samples counts, because other programs can only slow a
// sample down.
std::uint32_t CalibratedRounds() {
    if (const std::uint32_t known = calibrated) return known;
    double fastest = kWantedTime;
    for (int i = 0; i < kSamples; ++i) {
        const double start = Milliseconds();
        DerivePasswordKey({}, {}, kSampleRounds);
        fastest = std::min(fastest, Milliseconds() - start);
    }
    const double rounds = kSampleRounds * kWantedTime / std::max(fastest, 0.01);
    calibrated = std::max(kFewestRounds, static_cast<std::uint32_t>(rounds));
    return calibrated;
}

std::uint32_t RoundsOfNewPassword() {
    const DWORD wanted = ReadSetting(kPasswordRoundsSetting);
    return wanted != 0 ? wanted : CalibratedRounds();
}

SymmetricKey DeriveOpeningKey(const PasswordLock& lock, const Password& password) {
    Secret<kLongestUtf8> utf8;
    const std::wstring_view text = password.Text();
    // For no text the function fails and returns 0, too.
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         reinterpret_cast<char*>(utf8.Room().data()), kLongestUtf8, nullptr, nullptr);
    return DerivePasswordKey(ByteView(utf8.Bytes()).first(static_cast<std::size_t>(size)), lock.salt, lock.rounds);
}

// A random opening key, and the same as the system protects it. The salt binds it to its container.
SymmetricKey ProtectOpeningKey(PasswordLock& lock, Protection protection) {
    const SymmetricKey key = CreateMasterKey();
    if (!ProtectKey(key, lock.salt, protection == Protection::Computer, lock.protectedKey))
        throw std::runtime_error("the system doesn't protect the key");
    return key;
}

// The key and, if there are any, its attributes, as they are wrapped together.
constexpr std::size_t kKeySize = 32, kAttributesSize = 8;
using Wrapped = Secret<kKeySize + kAttributesSize>;

SealedKey Seal(const SymmetricKey& by, const Secret<kKeySize>& key,
               std::optional<std::array<std::uint8_t, kAttributesSize>> attributes) {
    SealedKey sealed{.attributes = attributes};
    Wrapped clear;
    std::ranges::copy(key.Bytes(), clear.Room().begin());
    if (attributes) std::ranges::copy(*attributes, clear.Room().begin() + kKeySize);
    Bytes wrapped(attributes ? kKeySize + kAttributesSize : kKeySize);
    FillRandom(sealed.material);
    WrapBytes(Wrapping::Diversified, by, sealed.material, ByteView(clear.Bytes()).first(wrapped.size()), wrapped,
              sealed.wrapped.mac);
    std::copy_n(wrapped.begin(), kKeySize, sealed.wrapped.key.begin());
    if (attributes) std::copy_n(wrapped.begin() + kKeySize, kAttributesSize, sealed.attributes->begin());
    return sealed;
}

// The key, followed by its attributes in `clear`.
std::optional<PrivateKey> Open(const SymmetricKey& by, const SealedKey& sealed, Wrapped& clear) {
    Bytes wrapped(sealed.wrapped.key.begin(), sealed.wrapped.key.end());
    if (sealed.attributes) wrapped.insert(wrapped.end(), sealed.attributes->begin(), sealed.attributes->end());
    PrivateKey key;
    const bool opened = UnwrapBytes(Wrapping::Diversified, by, sealed.material, wrapped, sealed.wrapped.mac,
                                    std::span<std::uint8_t>(clear.Room()).first(wrapped.size()));
    std::copy_n(clear.Bytes().begin(), kKeySize, key.Room().begin());
    return opened ? std::optional(key) : std::nullopt;
}

// The system only reads through it.
DATA_BLOB Blob(ByteView bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

}  // namespace

bool ProtectKey(const SymmetricKey& key, ByteView entropy, bool forTheComputer, Bytes& protectedKey) {
    const SystemFunction<decltype(CryptProtectData)> protect(L"crypt32.dll", "CryptProtectData");
    if (protect.Get() == nullptr) return false;
    DATA_BLOB in = Blob(key.Bytes()), bound = Blob(entropy), out{};
    const DWORD flags = CRYPTPROTECT_UI_FORBIDDEN | (forTheComputer ? CRYPTPROTECT_LOCAL_MACHINE : 0);
    if (!protect.Get()(&in, nullptr, &bound, nullptr, nullptr, flags, &out)) return false;
    protectedKey.assign(out.pbData, out.pbData + out.cbData);
    LocalFree(out.pbData);
    const DigestValue digest = DigestOf(protectedKey);
    protectedKey.insert(protectedKey.end(), digest.begin(), digest.end());
    return true;
}

std::optional<SymmetricKey> UnprotectKey(ByteView protectedKey, ByteView entropy) {
    const SystemFunction<decltype(CryptUnprotectData)> unprotect(L"crypt32.dll", "CryptUnprotectData");
    // Not every system checks the lengths in damaged bytes, so that the digest is checked first.
    constexpr std::size_t kDigestSize = std::tuple_size_v<DigestValue>;
    if (protectedKey.size() < kDigestSize) return std::nullopt;
    const ByteView bytes = protectedKey.first(protectedKey.size() - kDigestSize);
    if (!EqualInConstantTime(DigestOf(bytes), protectedKey.last(kDigestSize))) return std::nullopt;
    DATA_BLOB in = Blob(bytes), bound = Blob(entropy), out{};
    if (unprotect.Get() == nullptr ||
        !unprotect.Get()(&in, nullptr, &bound, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &out))
        return std::nullopt;
    SymmetricKey key;
    const bool fits = out.cbData == key.Room().size();
    if (fits) std::memcpy(key.Room().data(), out.pbData, out.cbData);
    Wipe(out.pbData, out.cbData);
    LocalFree(out.pbData);
    return fits ? std::optional(key) : std::nullopt;
}

bool AcceptsRounds(std::uint32_t rounds) {
    if (rounds <= kFewestRounds * kMostTimesRounds) return rounds > 0;  // accepted on every machine
    return rounds / kMostTimesRounds <= CalibratedRounds();
}

SymmetricKey CreateMasterKey() {
    SymmetricKey key;
    FillRandom(key.Room(), Randomness::LastingKey);
    return key;
}

PasswordLock LockMasterKey(const SymmetricKey& master, const Password& password, Protection protection) {
    PasswordLock lock;
    lock.hasPassword = !password.Empty();
    FillRandom(lock.salt);
    if (lock.hasPassword) lock.rounds = RoundsOfNewPassword();
    const bool protectedBySystem = !lock.hasPassword && protection != Protection::None;
    lock.master =
        Seal(protectedBySystem ? ProtectOpeningKey(lock, protection) : DeriveOpeningKey(lock, password), master, {});
    return lock;
}

std::optional<SymmetricKey> OpeningKey(const PasswordLock& lock, const Password& password) {
    return lock.protectedKey.empty() ? DeriveOpeningKey(lock, password) : UnprotectKey(lock.protectedKey, lock.salt);
}

std::optional<SymmetricKey> OpenLock(const PasswordLock& lock, const SymmetricKey& openingKey) {
    return Unseal(openingKey, lock.master);
}

SealedKey SealPrivateKey(const SymmetricKey& master, const PrivateKey& key, bool exportable) {
    return Seal(master, key, std::array<std::uint8_t, kAttributesSize>{exportable});
}

std::optional<PrivateKey> Unseal(const SymmetricKey& master, const SealedKey& sealed) {
    Wrapped clear;
    return Open(master, sealed, clear);
}

std::optional<PrivateKey> UnsealPrivateKey(const SymmetricKey& master, const SealedKey& sealed, bool exportable) {
    Wrapped clear;
    const auto key = Open(master, sealed, clear);
    const bool agrees = sealed.attributes && (clear.Bytes()[kKeySize] & 1) == (exportable ? 1 : 0);
    return agrees ? key : std::nullopt;
}

}  // namespace softcsp
