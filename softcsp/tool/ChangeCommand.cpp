// "set NAME WHAT=VALUE": gives a container a fault that programs can detect, or removes it. The container is
// authenticated afterwards, so that the fault is found in its contents and not as a change by others.
#include "softcsp/common/Text.h"
#include "softcsp/tool/Certificates.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

constexpr std::size_t kDigestAt = 8;  // in the file; a wrong digest leaves the contents readable

unsigned long Number(const std::wstring& value, unsigned long most) {
    const auto number = ParseNumber(value);
    if (!number || *number > most) throw WrongUsage{L"no number up to " + std::to_wstring(most) + L": " + value};
    return *number;
}

// A certificate with the same names for another key.
Bytes OtherCertificate(const Container& container, const ContainerKey& key) {
    return Issue(ReadRequest(Options({}, {}, {0, 0}), SubjectOf(container, key)), MakeKeyPair(*key.curve), *key.digest);
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
        const auto sealed = secret ? SealPrivateKey(master, *secret, exportable) : std::nullopt;
        if (!sealed) throw CommandFailure{L"can't seal a key of " + container.name, Code(NTE_FAIL)};
        key->exportable = exportable;
        key->privateKey = *sealed;
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

}  // namespace

void RunSet(Arguments arguments) {
    if (arguments.size() == 1) return RunSetting(std::wstring(arguments[0]));
    const Options options(arguments, kScopeAndPassword, {2, 2});
    const std::wstring& name = options.Names()[0];
    const auto [what, value] = SplitAtEquals(options.Names()[1]);
    const ContainerStore store = StoreOf(options);
    if (what == L"damage") return ChangeDamage(store, name, Number(value, kTruncated));
    Container changed;
    const DWORD result = store.Modify(FindContainer(store, name), changed, [&](Container& container) {
        const SymmetricKey master = UnlockContainer(container, options);
        Change(container, master, what, value);
        return Authenticate(container, master) ? ERROR_SUCCESS : Code(NTE_FAIL);
    });
    Check(result, L"can't change " + name);
}

}  // namespace softcsp
