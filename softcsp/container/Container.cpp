#include "softcsp/container/Container.h"

#include "softcsp/crypto/Digest.h"

namespace softcsp {
namespace {

constexpr std::uint8_t kMagic[] = {'S', 'P', 'K', 'C'};
constexpr std::uint32_t kFirstFormat = 1, kFormat = 2;
constexpr std::size_t kCharacter = 2;  // bytes of a character of a name
constexpr char kCodeLabel[] = "container authentication";

void WriteSealed(ByteWriter& to, const SealedKey& key) {
    to.Raw(key.material);
    to.Raw(key.wrapped.key);
    to.Raw(key.wrapped.mac);
}

SealedKey ReadSealed(ByteReader& from) {
    SealedKey key;
    from.Fill(std::span(key.material));
    from.Fill(std::span(key.wrapped.key));
    from.Fill(std::span(key.wrapped.mac));
    return key;
}

const ParameterSet* Known(ByteReader& from, const ParameterSet* set) {
    if (set == nullptr) from.Fail();
    return set;
}

const ParameterSet* ReadSet(ByteReader& from, ParameterKind kind) {
    return Known(from, FindParameterSet(kind, from.CountedAs<std::string>()));
}

void WriteKey(ByteWriter& to, const std::optional<ContainerKey>& key, std::uint32_t format) {
    to.Number(key ? 1 : 0);
    if (!key) return;
    to.Text(key->curve->identifier);
    to.Text(key->digest->identifier);
    to.Number(key->exportable ? 1 : 0);
    to.Raw(key->publicKey);
    WriteSealed(to, key->privateKey);
    if (format != kFirstFormat) to.Raw(key->privateKey.attributes.value_or(std::array<std::uint8_t, 8>{}));
    to.Counted(key->certificate);
}

std::optional<ContainerKey> ReadKey(ByteReader& from, std::uint32_t format) {
    if (from.Number() == 0) return std::nullopt;
    ContainerKey key;
    key.curve = Known(from, FindCurve(from.CountedAs<std::string>()));
    key.digest = ReadSet(from, ParameterKind::Digest);
    key.exportable = from.Number() != 0;
    from.Fill(std::span(key.publicKey));
    key.privateKey = ReadSealed(from);
    if (format != kFirstFormat) from.Fill(std::span(key.privateKey.attributes.emplace()));
    key.certificate = from.CountedAs<Bytes>();
    return key;
}

std::wstring ReadName(ByteReader& from) {
    const ByteView bytes = from.Counted();
    std::wstring name;
    for (std::size_t at = 0; at + kCharacter <= bytes.size(); at += kCharacter)
        name.push_back(static_cast<wchar_t>(bytes[at] | bytes[at + 1] << 8));
    if (name.empty() || name.size() > kLongestContainerName || bytes.size() % kCharacter != 0 ||
        name.find(L'\0') != std::wstring::npos)
        from.Fail();
    return name;
}

void WriteLock(ByteWriter& to, const PasswordLock& lock, std::uint32_t format) {
    to.Number(lock.hasPassword ? 1 : 0);
    to.Raw(lock.salt);
    to.Number(lock.rounds);
    if (format != kFirstFormat) to.Counted(lock.protectedKey);
    WriteSealed(to, lock.master);
}

void ReadLock(ByteReader& from, PasswordLock& lock, std::uint32_t format) {
    lock.hasPassword = from.Number() != 0;
    from.Fill(std::span(lock.salt));
    lock.rounds = from.Number();
    if (lock.rounds == 0) from.Fail();
    if (format != kFirstFormat) lock.protectedKey = from.CountedAs<Bytes>();
    if (lock.hasPassword && !lock.protectedKey.empty()) from.Fail();
    lock.master = ReadSealed(from);
}

void ReadExtensions(ByteReader& from, std::vector<ContainerExtension>& extensions) {
    const std::uint32_t count = from.Number();
    if (count > kMostExtensions) from.Fail();
    for (std::uint32_t i = 0; i < count && from.Good(); ++i) {
        ContainerExtension extension;
        extension.identifier = from.CountedAs<std::string>();
        if (extension.identifier.find('\0') != std::string::npos) from.Fail();
        extension.critical = from.Number();
        extension.value = from.CountedAs<Bytes>();
        extensions.push_back(std::move(extension));
    }
}

Bytes WriteBody(const Container& container) {
    ByteWriter to;
    to.Counted(Utf16Bytes(container.name));
    to.Text(container.digest->identifier);
    to.Text(container.cipher->identifier);
    WriteLock(to, container.lock, container.format);
    WriteKey(to, container.exchange, container.format);
    WriteKey(to, container.signature, container.format);
    to.Number(static_cast<std::uint32_t>(container.extensions.size()));
    for (const ContainerExtension& extension : container.extensions) {
        to.Text(extension.identifier);
        to.Number(extension.critical);
        to.Counted(extension.value);
    }
    to.Number(container.reportedDamage);
    return to.Take();
}

// Leaves the reader behind the digest.
bool ReadHead(ByteReader& from, std::uint32_t& format, DigestValue& digest) {
    const ByteView magic = from.Raw(sizeof kMagic);
    format = from.Number();
    from.Fill(std::span(digest));
    return from.Good() && std::memcmp(magic.data(), kMagic, sizeof kMagic) == 0 &&
           (format == kFirstFormat || format == kFormat);
}

// The code is keyed by a key of its own, derived from the master key, which wraps other keys.
DigestValue CodeOf(const Container& container, const SymmetricKey& master) {
    const SymmetricKey key(AuthenticationCode(master, TextBytes(kCodeLabel)));
    return AuthenticationCode(key, WriteBody(container));
}

}  // namespace

NewContainer CreateContainer(const std::wstring& name, const Password& password, Protection protection) {
    NewContainer created{{}, CreateMasterKey()};
    created.container.name = name;
    created.container.lock = LockMasterKey(created.master, password, protection);
    Authenticate(created.container, created.master);
    return created;
}

Bytes WriteContainer(const Container& container) {
    ByteWriter authenticated, to;
    if (container.format != kFirstFormat) authenticated.Raw(container.lock.code);
    authenticated.Raw(WriteBody(container));
    const Bytes rest = authenticated.Take();
    to.Raw(kMagic);
    to.Number(container.format);
    to.Raw(DigestOf(rest));
    to.Raw(rest);
    return to.Take();
}

std::optional<Container> ReadContainer(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue digest;
    Container container;
    if (!ReadHead(from, container.format, digest)) return std::nullopt;
    if (container.format != kFirstFormat) from.Fill(std::span(container.lock.code));
    container.name = ReadName(from);
    container.digest = ReadSet(from, ParameterKind::Digest);
    container.cipher = ReadSet(from, ParameterKind::Cipher);
    ReadLock(from, container.lock, container.format);
    container.exchange = ReadKey(from, container.format);
    container.signature = ReadKey(from, container.format);
    ReadExtensions(from, container.extensions);
    container.reportedDamage = from.Number();
    return from.Ended() ? std::optional(std::move(container)) : std::nullopt;
}

bool IsIntact(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue stored;
    std::uint32_t format = 0;
    if (!ReadHead(from, format, stored)) return false;
    return DigestOf(bytes.subspan(sizeof kMagic + sizeof format + stored.size())) == stored;
}

bool Authenticate(Container& container, const SymmetricKey& master) {
    for (const bool signatureKey : {false, true}) {
        auto& key = container.Key(signatureKey);
        if (!key || key->privateKey.attributes) continue;
        const auto secret = Unseal(master, key->privateKey);
        if (!secret) return false;
        key->privateKey = SealPrivateKey(master, *secret, key->exportable);
    }
    container.format = kFormat;
    container.lock.code = CodeOf(container, master);
    return true;
}

bool AuthenticateWithoutPassword(Container& container) {
    if (container.lock.hasPassword) return false;
    const auto opening = OpeningKey(container.lock, {});
    const auto master = opening ? OpenLock(container.lock, *opening) : std::nullopt;
    return master && Authenticate(container, *master);
}

bool IsAuthentic(const Container& container, const SymmetricKey& master) {
    if (container.format != kFirstFormat) return EqualInConstantTime(CodeOf(container, master), container.lock.code);
    // A container of format 2 that somebody rewrote as format 1 fails here: its keys are wrapped with attributes.
    const auto isAuthentic = [&](bool signatureKey) {
        const auto& key = container.Key(signatureKey);
        return !key || Unseal(master, key->privateKey);
    };
    return isAuthentic(false) && isAuthentic(true);
}

void StoreKeyPair(Container& container, bool signatureKey, const SymmetricKey& master, const KeyPair& pair,
                  const ParameterSet& digest, bool exportable) {
    container.Key(signatureKey) = ContainerKey{.curve = &pair.Set(),
                                               .digest = &digest,
                                               .exportable = exportable,
                                               .publicKey = pair.Public(),
                                               .privateKey = SealPrivateKey(master, pair.Private(), exportable),
                                               .certificate = {}};
}

}  // namespace softcsp
