// "list", "show" and "remove".
#include <algorithm>

#include "softcsp/common/Text.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/crypto/Digest.h"
#include "softcsp/tool/Certificates.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

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
    const std::wstring text = IsIntact(stored) ? L"intact" : L"damaged";
    if (container.reportedDamage == 0) return text;
    return text + L", reports " + HexNumber(container.reportedDamage);
}

std::wstring DigestText(const PublicKey& key) {
    const auto digest = DigestOf(key);
    return digest ? HexText(*digest) : L"can't be computed";
}

// The most significant byte first.
std::wstring SerialText(const CRYPT_INTEGER_BLOB& serial) {
    Bytes bytes(serial.pbData, serial.pbData + serial.cbData);
    std::reverse(bytes.begin(), bytes.end());
    return HexText(bytes);
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
    if (const auto usage = UsageOf(*certificate)) rows += Row(L"    key usage", UsageText(*usage));
    return rows;
}

std::wstring KeyRows(const Container& container, bool signatureKey) {
    const auto& key = container.Key(signatureKey);
    const std::wstring label = std::wstring(KeyName(signatureKey)) + L" key";
    if (!key) return Row(label, false);
    return Row(label, true) + Row(L"  curve", Wide(key->curve->identifier)) +
           Row(L"  digest", Wide(key->digest->identifier)) + Row(L"  exportable", key->exportable) +
           Row(L"  public key", DigestText(key->publicKey)) + CertificateRows(*key);
}

std::wstring ExtensionRow(const ContainerExtension& extension) {
    const auto certificates = DecodeCertificateSequence(extension.value);
    return Row(L"extension", Wide(extension.identifier) + (extension.critical > 0 ? L", critical" : L"") + L", " +
                                 std::to_wstring(extension.value.size()) + L" bytes" +
                                 (certificates ? L", certificates: " + std::to_wstring(certificates->size()) : L""));
}

}  // namespace

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
                        Row(L"format", std::to_wstring(container.format)) +
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
