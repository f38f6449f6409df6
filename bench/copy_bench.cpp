// How long the copy of a container takes, side by side with a bare loop over the same calls of the provider, whose
// results nobody looks at. In each round one follows the other. The containers are the current user's, of the default
// provider of type 75.
//   copy_bench.exe SOURCE [ROUNDS] [EXTENSIONS…]    with each of these numbers of extensions added to the source
#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "csp/ContainerCopy.h"
#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"

namespace {

constexpr wchar_t kTarget[] = L"\\\\.\\REGISTRY\\copy_bench";

bool Open(CCryptProvContext& context, const wchar_t* name, DWORD flags) {
    return static_cast<bool>(context.Acquire(flags | CRYPT_SILENT, name, nullptr, kProviderType75));
}

bool Copy(const wchar_t* name) {
    ContainerCopy copy;
    CCryptProvContext source, target;
    if (!Open(source, name, 0) || !copy.OpenVerification(nullptr, kProviderType75)) return false;
    if (!ReadSourceContainer(source.Get(), copy)) return false;
    source.Release();
    return Open(target, kTarget, kCopyTargetFlags) && WriteTargetContainer(copy, target.Get());
}

// What the bare loop keeps between its calls; the real sizes are far below the buffers'.
struct Blob {
    DWORD size = 0;
    BYTE bytes[4096];
};

void Export(HCRYPTKEY key, HCRYPTKEY under, DWORD type, Blob& blob) {
    CryptExportKey(key, under, type, 0, nullptr, &blob.size);
    CryptExportKey(key, under, type, 0, blob.bytes, &blob.size);
}

HCRYPTKEY Import(HCRYPTPROV provider, const Blob& blob, HCRYPTKEY by) {
    HCRYPTKEY key = 0;
    CryptImportKey(provider, blob.bytes, blob.size, by, CRYPT_EXPORTABLE, &key);
    return key;
}

void SetWrapping(HCRYPTKEY key) {
    constexpr ALG_ID wrapping = 0x661F;
    CryptSetKeyParam(key, KP_ALGID, reinterpret_cast<const BYTE*>(&wrapping), 0);
}

HCRYPTKEY BareTransfer(HCRYPTKEY key, HCRYPTPROV from, HCRYPTPROV to) {
    static Blob sets[2], first, second, wrapped;
    HCRYPTKEY own = 0, other = 0;
    constexpr DWORD parameters[] = {kKeyParameterDigestSet, kKeyParameterAgreementSet};
    CryptGenKey(from, 0xAA25, CRYPT_EXPORTABLE, &own);
    for (const int i : {0, 1}) {
        CryptGetKeyParam(own, parameters[i], nullptr, &sets[i].size, 0);
        CryptGetKeyParam(own, parameters[i], sets[i].bytes, &sets[i].size, 0);
    }
    Export(own, 0, PUBLICKEYBLOB, first);
    CryptGenKey(to, 0xAA25, CRYPT_EXPORTABLE | CRYPT_PREGEN, &other);
    for (const int i : {0, 1}) CryptSetKeyParam(other, parameters[i], sets[i].bytes, 0);
    const CRYPT_DATA_BLOB none{};
    if (!CryptSetKeyParam(other, KP_X, nullptr, 0))
        CryptSetKeyParam(other, KP_X, reinterpret_cast<const BYTE*>(&none), 0);
    Export(other, 0, PUBLICKEYBLOB, second);
    const HCRYPTKEY fromAgreement = Import(from, second, own), toAgreement = Import(to, first, other);
    for (const HCRYPTKEY agreement : {fromAgreement, toAgreement}) SetWrapping(agreement);
    for (const HCRYPTKEY ephemeral : {own, other}) CryptDestroyKey(ephemeral);
    Export(key, fromAgreement, SIMPLEBLOB, wrapped);
    SetWrapping(key);
    const HCRYPTKEY moved = Import(to, wrapped, toAgreement);
    for (const HCRYPTKEY agreement : {fromAgreement, toAgreement}) CryptDestroyKey(agreement);
    return moved;
}

struct Bare {
    HCRYPTPROV verification = 0;
    HCRYPTKEY session = 0;
    Blob sets[2], keys[2], certificates[2];
    std::vector<std::vector<BYTE>> extensions;
};

void BareRead(const wchar_t* name, Bare& bare) {
    HCRYPTPROV source = 0;
    CryptAcquireContextW(&source, name, nullptr, kProviderType75, CRYPT_SILENT);
    CryptAcquireContextW(&bare.verification, nullptr, nullptr, kProviderType75, CRYPT_VERIFYCONTEXT);
    for (const int i : {0, 1}) {
        const DWORD parameter = i ? kParameterCipherSet : kParameterDigestSet;
        CryptGetProvParam(source, parameter, bare.sets[i].bytes, &(bare.sets[i].size = 64), 0);
    }
    DWORD largest = 0, size = 0, flags = CRYPT_FIRST;
    if (CryptGetProvParam(source, kParameterExtensions, nullptr, &largest, flags)) {
        std::vector<BYTE> record(largest);
        for (; CryptGetProvParam(source, kParameterExtensions, record.data(), &(size = largest), flags); flags = 0)
            bare.extensions.emplace_back(record.begin(), record.begin() + size);
    }
    HCRYPTKEY session = 0, key = 0;
    CryptGenKey(source, 0x661E, CRYPT_EXPORTABLE, &session);
    bare.session = BareTransfer(session, source, bare.verification);
    for (const int i : {0, 1}) {
        if (!CryptGetUserKey(source, i ? AT_SIGNATURE : AT_KEYEXCHANGE, &key)) continue;
        Export(key, session, PRIVATEKEYBLOB, bare.keys[i]);
        Blob& certificate = bare.certificates[i];
        if (CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &certificate.size, 0))
            CryptGetKeyParam(key, KP_CERTIFICATE, certificate.bytes, &certificate.size, 0);
        CryptDestroyKey(key);
    }
    CryptDestroyKey(session);
    CryptReleaseContext(source, 0);
}

void BareWrite(const Bare& bare) {
    HCRYPTPROV target = 0;
    HCRYPTKEY duplicate = 0;
    CryptAcquireContextW(&target, kTarget, nullptr, kProviderType75, kCopyTargetFlags | CRYPT_SILENT);
    CryptSetProvParam(target, kParameterDigestSet, bare.sets[0].bytes, 0);
    CryptSetProvParam(target, kParameterCipherSet, bare.sets[1].bytes, 0);
    CryptDuplicateKey(bare.session, nullptr, 0, &duplicate);
    const HCRYPTKEY session = BareTransfer(duplicate, bare.verification, target);
    CryptDestroyKey(duplicate);
    for (const int i : {0, 1}) {
        if (!bare.keys[i].size) continue;
        const HCRYPTKEY key = Import(target, bare.keys[i], session);
        if (bare.certificates[i].size) CryptSetKeyParam(key, KP_CERTIFICATE, bare.certificates[i].bytes, 0);
        CryptDestroyKey(key);
    }
    for (const auto& record : bare.extensions) {
        DWORD numbers[2];
        std::memcpy(numbers, record.data(), sizeof numbers);
        const struct {
            const BYTE* identifier;
            DWORD critical, length;
            const BYTE* value;
        } request{record.data() + 8 + numbers[1], numbers[0], numbers[1], record.data() + 8};
        CryptSetProvParam(target, kParameterAddExtension, reinterpret_cast<const BYTE*>(&request), 0);
    }
    CryptDestroyKey(session);
    CryptReleaseContext(target, 0);
}

void BareCopy(const wchar_t* name) {
    Bare bare;
    BareRead(name, bare);
    BareWrite(bare);
    CryptDestroyKey(bare.session);
    CryptReleaseContext(bare.verification, 0);
}

void DeleteTarget() {
    CCryptProvContext deleted;
    Open(deleted, kTarget, CRYPT_DELETEKEYSET);
}

bool AddExtensions(const wchar_t* name, int count) {
    CCryptProvContext source;
    if (!Open(source, name, 0)) return false;
    const BYTE value[32] = {};
    const struct {
        const char* identifier;
        DWORD critical, length;
        const BYTE* value;
    } request{"1.2.643.7.1", 0, sizeof value, value};
    while (count-- > 0)
        CryptSetProvParam(source.Get(), kParameterAddExtension, reinterpret_cast<const BYTE*>(&request), 0);
    return true;
}

bool Measure(const wchar_t* name, int rounds, int extensions) {
    std::vector<double> copies, loops, ratios;
    constexpr int kWarmUps = 3;
    for (int round = -kWarmUps; round < rounds; ++round) {
        double taken[2] = {};
        for (const int turn : {0, 1}) {
            const bool bare = (round + turn) % 2 != 0;  // who comes first must not matter
            DeleteTarget();
            const double start = Now();
            if (bare) BareCopy(name);
            if (!bare && !Copy(name)) return false;
            taken[bare] = Now() - start;
        }
        if (round < 0) continue;
        copies.push_back(taken[0]);
        loops.push_back(taken[1]);
        ratios.push_back(taken[0] / taken[1]);
    }
    DeleteTarget();
    std::printf(
        "copy with %d extensions added: median %.2f ms; bare loop: median %.2f ms; copy / loop: %.3f (wanted: "
        "at most 1.05)\n",
        extensions, Median(copies), Median(loops), Median(ratios));
    return true;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const int rounds = count > 2 ? std::max(1, _wtoi(arguments[2])) : 51;
    bool done = count > 1;
    int added = 0;
    if (count <= 3 && done) done = Measure(arguments[1], rounds, 0);
    for (int i = 3; i < count && done; ++i) {
        const int wanted = _wtoi(arguments[i]);
        done = AddExtensions(arguments[1], wanted - added) && Measure(arguments[1], rounds, wanted);
        added = std::max(added, wanted);
    }
    if (!done)
        std::fprintf(stderr, "copy_bench: no such container, or none that can be copied (0x%08lX)\n", GetLastError());
    return done ? 0 : 1;
}
