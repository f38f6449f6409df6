#include "softcsp/container/Container.h"

#include "softcsp/crypto/Digest.h"

namespace softcsp {
namespace {

constexpr std::uint8_t kMagic[] = {'S', 'P', 'K', 'C'};
constexpr std::uint32_t kFormat = 2;
constexpr std::size_t kCharacter = 2;  // bytes of a character of a name

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

void WriteKey(ByteWriter& to, const std::optional<ContainerKey>& key) {
    to.Number(key ? 1 : 0);
    if (!key) return;
    to.Text(key->curve->identifier);
    to.Text(key->digest->identifier);
    to.Number(key->exportable ? 1 : 0);
    to.Raw(key->publicKey);
    WriteSealed(to, key->privateKey);
    to.Raw(key->privateKey.attributes.value());
    to.Counted(key->certificate);
}

std::optional<ContainerKey> ReadKey(ByteReader& from) {
    if (from.Number() == 0) return std::nullopt;
    ContainerKey key;
    key.curve = Known(from, FindCurve(from.CountedAs<std::string>()));
    key.digest = ReadSet(from, ParameterKind::Digest);
    key.exportable = from.Number() != 0;
    from.Fill(std::span(key.publicKey));
    key.privateKey = ReadSealed(from);
    from.Fill(std::span(key.privateKey.attributes.emplace()));
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

void WriteLock(ByteWriter& to, const PasswordLock& lock) {
    to.Number(lock.hasPassword ? 1 : 0);
    to.Raw(lock.salt);
    to.Number(lock.rounds);
    to.Counted(lock.protectedKey);
    WriteSealed(to, lock.master);
}

void ReadLock(ByteReader& from, PasswordLock& lock) {
    lock.hasPassword = from.Number() != 0;
    from.Fill(std::span(lock.salt));
    lock.rounds = from.Number();
    if (lock.rounds == 0) from.Fail();
    lock.protectedKey = from.CountedAs<Bytes>();
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

// Leaves the reader behind the digest.
bool ReadHead(ByteReader& from, DigestValue& digest) {
    const ByteView magic = from.Raw(sizeof kMagic);
    const std::uint32_t format = from.Number();
    from.Fill(std::span(digest));
    return from.Good() && std::memcmp(magic.data(), kMagic, sizeof kMagic) == 0 && format == kFormat;
}

}  // namespace

Bytes WriteBody(const Container& container) {
    ByteWriter to;
    to.Counted(Utf16Bytes(container.name));
    to.Text(container.digest->identifier);
    to.Text(container.cipher->identifier);
    WriteLock(to, container.lock);
    WriteKey(to, container.exchange);
    WriteKey(to, container.signature);
    to.Number(static_cast<std::uint32_t>(container.extensions.size()));
    for (const ContainerExtension& extension : container.extensions) {
        to.Text(extension.identifier);
        to.Number(extension.critical);
        to.Counted(extension.value);
    }
    to.Number(container.reportedDamage);
    return to.Take();
}

Bytes WriteContainer(const Container& container) {
    ByteWriter authenticated, to;
    authenticated.Raw(container.lock.code);
    authenticated.Raw(WriteBody(container));
    const Bytes rest = authenticated.Take();
    to.Raw(kMagic);
    to.Number(kFormat);
    to.Raw(DigestOf(rest));
    to.Raw(rest);
    return to.Take();
}

std::optional<Container> ReadContainer(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue digest;
    Container container;
    if (!ReadHead(from, digest)) return std::nullopt;
    from.Fill(std::span(container.lock.code));
    container.name = ReadName(from);
    container.digest = ReadSet(from, ParameterKind::Digest);
    container.cipher = ReadSet(from, ParameterKind::Cipher);
    ReadLock(from, container.lock);
    container.exchange = ReadKey(from);
    container.signature = ReadKey(from);
    ReadExtensions(from, container.extensions);
    container.reportedDamage = from.Number();
    return from.Ended() ? std::optional(std::move(container)) : std::nullopt;
}

bool IsIntact(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue stored;
    if (!ReadHead(from, stored)) return false;
    return DigestOf(bytes.subspan(sizeof kMagic + sizeof kFormat + stored.size())) == stored;
}

}  // namespace softcsp
