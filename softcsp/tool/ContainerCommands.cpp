// "create", "set NAME WHAT=VALUE", "list", "show" and "remove": containers with all their contents.
#include <algorithm>
#include <cwchar>

#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerProtection.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/crypto/Digest.h"
#include "softcsp/tool/Certificates.h"

namespace softcsp {
namespace {

constexpr wchar_t kKeys[] = L"--keys", kCerts[] = L"--certs", kExportable[] = L"--exportable", kUsage[] = L"--usage",
                  kChain[] = L"--chain", kCarrier[] = L"--carrier";
constexpr Option kOptions[] = {kMachine, kProvider,  {kKeys, 1}, {kCerts, 1}, {kExportable}, kPassword,
                               kSubject, kNotBefore, kNotAfter,  {kUsage, 2}, {kChain, 1},   {kCarrier, 1}};

// The extensions of containers with the certificates of authorities.
constexpr char kIntermediates[] = "1.2.643.2.2.37.3.1";
constexpr char kRoots[] = "1.2.643.2.2.37.3.2";

using Slots = std::array<bool, 2>;  // exchange, signature

Slots ParseSlots(const wchar_t* option, const std::wstring& text) {
    const bool known = text == L"xs" || text == L"x" || text == L"s" || text == L"none";
    if (!known) throw WrongUsage{std::wstring(option) + L" takes xs, x, s or none"};
    return {text.starts_with(L'x'), text.ends_with(L's')};
}

std::optional<UsagePeriod> UsageOf(const Options& options) {
    const auto from = options.Value(kUsage), to = options.Value(kUsage, 1);
    if (!from) return std::nullopt;
    const UsagePeriod period{ParseDay(*from), ParseDay(*to)};
    if (CompareFileTime(&*period.from, &*period.to) > 0) throw WrongUsage{L"--usage ends before it begins"};
    return period;
}

std::size_t ChainOf(const Options& options) {
    const auto count = ParseNumber(options.Value(kChain).value_or(L"0"));
    if (!count) throw WrongUsage{L"--chain takes a number"};
    return *count;
}

void AddChain(Container& container, const std::vector<Authority>& authorities) {
    std::vector<Bytes> certificates;
    for (const Authority& authority : authorities) certificates.push_back(authority.certificate);
    const auto intermediates = certificates.begin() + (certificates.empty() ? 0 : 1);
    for (const auto& [identifier, some] : {std::pair(kRoots, std::vector(certificates.begin(), intermediates)),
                                           {kIntermediates, std::vector(intermediates, certificates.end())}})
        if (!some.empty()) container.extensions.push_back({identifier, 0, EncodeCertificateSequence(some)});
}

Container Build(const Options& options, const std::wstring& name, Protection protection) {
    const std::wstring keyText = options.Value(kKeys).value_or(L"x");
    const Slots keys = ParseSlots(kKeys, keyText);
    const Slots certificates = ParseSlots(kCerts, options.Value(kCerts).value_or(keyText));
    for (const bool signatureKey : {false, true})
        if (certificates[signatureKey] && !keys[signatureKey]) throw WrongUsage{L"a certificate without its key"};
    CertificateRequest request = ReadRequest(options, SubjectOf(name));
    request.usage = UsageOf(options);
    const auto authorities = MakeAuthorities(CommonNameOf(request.subject), ChainOf(options), request);
    auto created = CreateContainer(name, PasswordOf(options), protection);
    auto& [container, master] = created;
    for (const bool signatureKey : {false, true}) {
        if (!keys[signatureKey]) continue;
        const KeyPair pair =
            *KeyPair::Generate(DefaultParameterSet(signatureKey ? ParameterKind::Signature : ParameterKind::Exchange));
        StoreKeyPair(container, signatureKey, master, pair, *container.digest, options.Has(kExportable));
        if (certificates[signatureKey])
            container.Key(signatureKey)->certificate = Issue(request, pair, *container.digest, authorities);
    }
    AddChain(container, authorities);
    Authenticate(container, master);
    return std::move(container);
}

// "set" makes or removes a fault of a container that programs can detect. The container is authenticated
// afterwards, so that the fault is found in its contents and not as a change by others.

constexpr std::size_t kDigestAt = 8;  // in the file; a wrong digest leaves the contents readable

unsigned long Number(const std::wstring& value, unsigned long most) {
    const auto number = ParseNumber(value);
    if (!number || *number > most) throw WrongUsage{L"no number up to " + std::to_wstring(most) + L": " + value};
    return *number;
}

// A certificate with the same names for another key.
Bytes OtherCertificate(const Container& container, const ContainerKey& key) {
    return Issue(ReadRequest(Options({}, {}, {0, 0}), SubjectOf(container, key)), *KeyPair::Generate(*key.curve),
                 *key.digest);
}

void ChangeCertificate(Container& container, bool signatureKey, const std::wstring& value) {
    if (value != L"other" && value != L"none") throw WrongUsage{L"a certificate can become other or none: " + value};
    const ContainerKey& key = KeyOf(container, signatureKey);
    Bytes certificate = value == L"other" ? OtherCertificate(container, key) : Bytes();
    container.Key(signatureKey)->certificate = std::move(certificate);
}

void ChangeExportability(Container& container, const SymmetricKey& master, bool exportable) {
    for (const bool signatureKey : {false, true}) {
        auto& key = container.Key(signatureKey);
        if (!key) continue;
        const auto secret = Unseal(master, key->privateKey);
        if (!secret) throw CommandFailure{L"can't open a key of " + container.name, Code(NTE_BAD_KEY)};
        key->exportable = exportable;
        key->privateKey = SealPrivateKey(master, *secret, exportable);
    }
}

// OID:CRITICAL:HEX
ContainerExtension ParseExtension(const std::wstring& value) {
    const std::size_t first = value.find(L':'), second = value.find(L':', first + 1);
    if (first == value.npos || second == value.npos) throw WrongUsage{L"an extension is OID:CRITICAL:HEX"};
    const std::wstring identifier = value.substr(0, first);
    if (identifier.find_first_not_of(L".0123456789") != identifier.npos)
        throw WrongUsage{L"an identifier is numbers with dots between them: " + value};
    const auto bytes = ParseHex(std::wstring_view(value).substr(second + 1));
    if (!bytes) throw WrongUsage{L"no hexadecimal digits in pairs: " + value.substr(second + 1)};
    return {Narrow(identifier), Number(value.substr(first + 1, second - first - 1), MAXDWORD), *bytes};
}

void Change(Container& container, const SymmetricKey& master, const std::wstring& what, const std::wstring& value) {
    if (what == L"integrity") {
        container.reportedDamage = Number(value, MAXDWORD);
    } else if (what == L"certificate-x" || what == L"certificate-s") {
        ChangeCertificate(container, what.ends_with(L's'), value);
    } else if (what == L"extension" && value == L"none") {
        container.extensions.clear();
    } else if (what == L"extension") {
        container.extensions.push_back(ParseExtension(value));
    } else if (what == L"exportable") {
        ChangeExportability(container, master, Number(value, 1) != 0);
    } else {
        throw WrongUsage{L"nothing of a container is called " + what};
    }
}

enum Damage : unsigned long { kNone, kDigest, kTruncated };

void ChangeDamage(const ContainerStore& store, const std::wstring& name, unsigned long damage) {
    ContainerPlace place;
    if (damage == kNone) {
        const Container container = LoadContainer(store, name, place);
        Check(store.Save(place, container), L"can't write " + name);
        return;
    }
    place = FindContainer(store, name);
    Bytes bytes;
    Check(store.LoadBytes(place, bytes), L"can't read " + name);
    if (damage == kTruncated) {
        bytes.resize(bytes.size() / 2);
    } else if (IsIntact(bytes)) {
        bytes[kDigestAt] ^= 1;
    }
    Check(store.SaveBytes(place, bytes), L"can't write " + name);
}

constexpr std::size_t kColumn = 18;  // of the values

std::wstring Row(const std::wstring& label, const std::wstring& value) {
    return label + std::wstring(kColumn - std::min(label.size(), kColumn - 1), L' ') + value + L'\n';
}

std::wstring Row(const std::wstring& label, bool value) {
    return Row(label, std::wstring(value ? L"yes" : L"no"));
}

// In the form of the options --keys and --certs.
std::wstring SlotText(const Container& container, bool (*has)(const ContainerKey&)) {
    std::wstring text;
    if (container.exchange && has(*container.exchange)) text += L'x';
    if (container.signature && has(*container.signature)) text += L's';
    return text.empty() ? L"none" : text;
}

std::wstring Summary(const Container& container) {
    return L"keys " + SlotText(container, [](const ContainerKey&) { return true; }) + L", certificates " +
           SlotText(container, [](const ContainerKey& key) { return !key.certificate.empty(); }) +
           (container.lock.hasPassword ? L", password" : L"");
}

std::wstring IntegrityText(ByteView stored, const Container& container) {
    std::wstring text = IsIntact(stored) ? L"intact" : L"damaged";
    if (container.reportedDamage == 0) return text;
    return text + L", reports " + HexNumber(container.reportedDamage);
}

// The most significant byte first.
std::wstring SerialText(const CRYPT_INTEGER_BLOB& serial) {
    Bytes bytes(serial.pbData, serial.pbData + serial.cbData);
    std::reverse(bytes.begin(), bytes.end());
    return HexText(bytes);
}

ByteView View(const CRYPT_DATA_BLOB& blob) {
    return {blob.pbData, blob.cbData};
}

// Whether the certificate is for the key.
bool Matches(const CERT_CONTEXT& certificate, const ContainerKey& key) {
    const CERT_PUBLIC_KEY_INFO& info = certificate.pCertInfo->SubjectPublicKeyInfo;
    const auto found = DecodePublicKey(View(info.Algorithm.Parameters), {info.PublicKey.pbData, info.PublicKey.cbData});
    return found && found->curve == key.curve && found->digest == key.digest && found->key == key.publicKey;
}

// "2026-01-31 00:00:00 UTC"
std::wstring TimeText(const FILETIME& time) {
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    wchar_t text[32];
    swprintf(text, std::size(text), L"%04d-%02d-%02d %02d:%02d:%02d UTC", parts.wYear, parts.wMonth, parts.wDay,
             parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

std::wstring UsageText(const UsagePeriod& usage) {
    return (usage.from ? TimeText(*usage.from) : L"ever") + L" to " + (usage.to ? TimeText(*usage.to) : L"ever");
}

std::wstring CertificateRows(const ContainerKey& key) {
    if (key.certificate.empty()) return Row(L"  certificate", false);
    const Certificate certificate = OpenCertificate(key.certificate);
    if (!certificate) return Row(L"  certificate", std::wstring(L"unreadable"));
    const CERT_INFO& info = *certificate->pCertInfo;
    std::wstring rows = Row(L"  certificate", true) + Row(L"    matches", Matches(*certificate, key)) +
                        Row(L"    subject", NameText(info.Subject)) + Row(L"    issuer", NameText(info.Issuer)) +
                        Row(L"    valid from", TimeText(info.NotBefore)) +
                        Row(L"    valid to", TimeText(info.NotAfter)) +
                        Row(L"    serial", SerialText(info.SerialNumber));
    const CERT_EXTENSION* extension = CertFindExtension("2.5.29.16", info.cExtension, info.rgExtension);
    const auto usage = extension != nullptr ? DecodeUsagePeriod(View(extension->Value)) : std::nullopt;
    if (usage) rows += Row(L"    key usage", UsageText(*usage));
    return rows;
}

std::wstring KeyRows(const Container& container, bool signatureKey) {
    const auto& key = container.Key(signatureKey);
    const std::wstring label = std::wstring(KeyName(signatureKey)) + L" key";
    if (!key) return Row(label, false);
    return Row(label, true) + Row(L"  curve", Wide(key->curve->identifier)) +
           Row(L"  digest", Wide(key->digest->identifier)) + Row(L"  exportable", key->exportable) +
           Row(L"  public key", HexText(DigestOf(key->publicKey))) + CertificateRows(*key);
}

std::wstring ExtensionRow(const ContainerExtension& extension) {
    const auto certificates = DecodeCertificateSequence(extension.value);
    return Row(L"extension", Wide(extension.identifier) + (extension.critical > 0 ? L", critical" : L"") + L", " +
                                 std::to_wstring(extension.value.size()) + L" bytes" +
                                 (certificates ? L", certificates: " + std::to_wstring(certificates->size()) : L""));
}

}  // namespace

void RunCreate(Arguments arguments) {
    const Options options(arguments, kOptions, {1, 1});
    const ContainerStore store = StoreOf(options);
    std::wstring name = options.Names()[0];
    if (const auto carrier = options.Value(kCarrier)) {
        name = *carrier + L'\\' + name;
    } else if (name.find(L'\\') == std::wstring::npos) {
        name = std::wstring(kRegistryCarrier) + L'\\' + name;
    }
    ContainerPlace place;
    Check(store.PlaceForNew(name, place), L"can't create " + name);
    Check(store.Create(place, Build(options, place.name, store.ProtectionOf(place))), L"can't create " + name);
    Print(Stream::Output, L"created " + place.UniqueName() + L"\n");
}

void RunSet(Arguments arguments) {
    if (arguments.size() == 1) return RunSetting(std::wstring(arguments[0]));
    const Options options(arguments, kScopeAndPassword, {2, 2});
    const std::wstring& name = options.Names()[0];
    const auto change = SplitAtEquals(options.Names()[1]);
    const ContainerStore store = StoreOf(options);
    if (change.first == L"damage") return ChangeDamage(store, name, Number(change.second, kTruncated));
    Container changed;
    const DWORD result = store.Modify(FindContainer(store, name), changed, [&](Container& container) {
        const SymmetricKey master = UnlockContainer(container, options);
        Change(container, master, change.first, change.second);
        Authenticate(container, master);
        return DWORD{ERROR_SUCCESS};
    });
    Check(result, L"can't change " + name);
}

void RunList(Arguments arguments) {
    const Options options(arguments, kScope, {0, 0});
    const ContainerStore store = StoreOf(options);
    for (const ContainerPlace& place : store.List()) {
        Container container;
        const bool read = store.Load(place, container) == ERROR_SUCCESS;
        Print(Stream::Output, place.UniqueName() + L"\t" + (read ? Summary(container) : L"unreadable") + L"\n");
    }
}

void RunShow(Arguments arguments) {
    const Options options(arguments, kScope, {1, 1});
    const ContainerStore store = StoreOf(options);
    ContainerPlace place;
    const Container container = LoadContainer(store, options.Names()[0], place);
    Bytes stored;
    Check(store.LoadBytes(place, stored), L"can't read " + options.Names()[0]);
    std::wstring text = Row(L"name", container.name) + Row(L"unique name", place.UniqueName()) +
                        Row(L"qualified name", place.QualifiedName()) + Row(L"carrier", place.carrier.name) +
                        Row(L"password", container.lock.hasPassword) +
                        Row(L"integrity", IntegrityText(stored, container));
    for (const bool signatureKey : {false, true}) text += KeyRows(container, signatureKey);
    for (const ContainerExtension& extension : container.extensions) text += ExtensionRow(extension);
    Print(Stream::Output, text);
}

void RunRemove(Arguments arguments) {
    const Options options(arguments, kScope, {1, 1});
    const ContainerStore store = StoreOf(options);
    const std::wstring& name = options.Names()[0];
    const ContainerPlace place = FindContainer(store, name);
    Check(store.Remove(place), L"can't remove " + name);
    SavedPasswords(store).Remove(place);
}

}  // namespace softcsp
