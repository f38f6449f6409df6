#include "softcsp/container/Container.h"

#include "softcsp/common/ByteStream.h"
#include "softcsp/crypto/Digest.h"

namespace softcsp {
namespace {

constexpr std::uint8_t kMagic[] = {'S', 'P', 'K', 'C'};
constexpr std::uint32_t kFormat = 1;

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

const ParameterSet* ReadSet(ByteReader& from, ParameterKind kind) {
    const ParameterSet* set = FindParameterSet(kind, from.Text());
    if (set == nullptr) from.Fail();
    return set;
}

const ParameterSet* ReadCurve(ByteReader& from) {
    const std::string identifier = from.Text();
    const ParameterSet* set = FindParameterSet(ParameterKind::Exchange, identifier);
    if (set == nullptr) set = FindParameterSet(ParameterKind::Signature, identifier);
    if (set == nullptr) from.Fail();
    return set;
}

void WriteKey(ByteWriter& to, const std::optional<ContainerKey>& key) {
    to.Number(key ? 1 : 0);
    if (!key) return;
    to.Text(key->curve->identifier);
    to.Text(key->digest->identifier);
    to.Number(key->exportable ? 1 : 0);
    to.Raw(key->publicKey);
    WriteSealed(to, key->privateKey);
    to.Counted(key->certificate);
}

std::optional<ContainerKey> ReadKey(ByteReader& from) {
    if (from.Number() == 0) return std::nullopt;
    ContainerKey key;
    key.curve = ReadCurve(from);
    key.digest = ReadSet(from, ParameterKind::Digest);
    key.exportable = from.Number() != 0;
    from.Fill(std::span(key.publicKey));
    key.privateKey = ReadSealed(from);
    key.certificate = from.CountedBytes();
    return key;
}

void WriteName(ByteWriter& to, const std::wstring& name) {
    to.Counted({reinterpret_cast<const std::uint8_t*>(name.data()), name.size() * sizeof(wchar_t)});
}

std::wstring ReadName(ByteReader& from) {
    const ByteView bytes = from.Counted();
    std::wstring name(bytes.size() / sizeof(wchar_t), L'\0');
    if (name.empty() || name.size() > kLongestContainerName || bytes.size() % sizeof(wchar_t) != 0) {
        from.Fail();
        return {};
    }
    std::memcpy(name.data(), bytes.data(), bytes.size());
    if (name.find(L'\0') != std::wstring::npos) from.Fail();
    return name;
}

Bytes WriteBody(const Container& container) {
    ByteWriter to;
    WriteName(to, container.name);
    to.Text(container.digest->identifier);
    to.Text(container.cipher->identifier);
    to.Number(container.lock.hasPassword ? 1 : 0);
    to.Raw(container.lock.salt);
    to.Number(container.lock.rounds);
    WriteSealed(to, container.lock.master);
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

std::optional<DigestValue> DigestOf(ByteView bytes) {
    auto digest = Digest::Create(DefaultParameterSet(ParameterKind::Digest));
    if (!digest) return std::nullopt;
    digest->Add(bytes);
    return digest->Value();
}

// Leaves the reader at the body.
bool ReadHead(ByteReader& from, DigestValue& digest) {
    const ByteView magic = from.Raw(sizeof kMagic);
    if (!from.Good() || std::memcmp(magic.data(), kMagic, sizeof kMagic) != 0 || from.Number() != kFormat) return false;
    from.Fill(std::span(digest));
    return from.Good();
}

}  // namespace

std::optional<NewContainer> MakeContainer(const std::wstring& name, const Password& password) {
    const auto master = MakeMasterKey();
    const auto lock = master ? LockMasterKey(*master, password) : std::nullopt;
    if (!lock) return std::nullopt;
    NewContainer made{{}, *master};
    made.container.name = name;
    made.container.lock = *lock;
    return made;
}

Bytes WriteContainer(const Container& container) {
    const Bytes body = WriteBody(container);
    const auto digest = DigestOf(body);
    if (!digest) return {};
    ByteWriter to;
    to.Raw(kMagic);
    to.Number(kFormat);
    to.Raw(*digest);
    to.Raw(body);
    return to.Take();
}

std::optional<Container> ReadContainer(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue digest;
    if (!ReadHead(from, digest)) return std::nullopt;
    Container container;
    container.name = ReadName(from);
    container.digest = ReadSet(from, ParameterKind::Digest);
    container.cipher = ReadSet(from, ParameterKind::Cipher);
    container.lock.hasPassword = from.Number() != 0;
    from.Fill(std::span(container.lock.salt));
    container.lock.rounds = from.Number();
    if (container.lock.rounds == 0 || container.lock.rounds > kMostRounds) from.Fail();
    container.lock.master = ReadSealed(from);
    container.exchange = ReadKey(from);
    container.signature = ReadKey(from);
    const std::uint32_t count = from.Number();
    if (count > kMostExtensions) return std::nullopt;
    for (std::uint32_t i = 0; i < count && from.Good(); ++i) {
        ContainerExtension extension;
        extension.identifier = from.Text();
        if (extension.identifier.find('\0') != std::string::npos) from.Fail();
        extension.critical = from.Number();
        extension.value = from.CountedBytes();
        container.extensions.push_back(std::move(extension));
    }
    container.reportedDamage = from.Number();
    return from.Ended() ? std::optional(std::move(container)) : std::nullopt;
}

bool IsIntact(ByteView bytes) {
    ByteReader from(bytes);
    DigestValue stored;
    if (!ReadHead(from, stored)) return false;
    const auto found = DigestOf(bytes.subspan(sizeof kMagic + sizeof kFormat + stored.size()));
    return found && *found == stored;
}

bool StoreKeyPair(Container& container, bool signatureKey, const SymmetricKey& master, const KeyPair& pair,
                  const ParameterSet& digest, bool exportable) {
    const auto sealed = Seal(master, pair.Private());
    if (!sealed) return false;
    container.Key(signatureKey) = ContainerKey{.curve = &pair.Set(),
                                               .digest = &digest,
                                               .exportable = exportable,
                                               .publicKey = pair.Public(),
                                               .privateKey = *sealed,
                                               .certificate = {}};
    return true;
}

}  // namespace softcsp
