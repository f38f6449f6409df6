// How long the check of a container takes, side by side with a bare loop over the same calls of the provider and the
// system, whose results nobody looks at. In each round one follows the other.
//   check_bench.exe CONTAINER [ROUNDS]      the container is the current user's, of the default provider of type 75
#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/Measure.h"
#include "csp/ContainerCheck.h"
#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"

namespace {

struct Counted final : CheckReport {
    void Row(UINT, UINT) override { ++rows; }
    void Row(UINT, std::wstring_view) override { ++rows; }
    void Failure(UINT, DWORD) override { ++failures; }
    void Continuation(std::wstring_view) override { ++rows; }
    void Continuation(UINT) override { ++rows; }
    void Verdict(UINT, UINT) override { ++rows; }
    int rows = 0, failures = 0;
};

// One buffer for all that is asked for; the real sizes are far below it.
BYTE buffer[16384];
wchar_t text[1024];

void BareDetails(PCCERT_CONTEXT certificate) {
    for (const DWORD flags : {0, CERT_NAME_ISSUER_FLAG}) {
        for (const DWORD type : {CERT_NAME_SIMPLE_DISPLAY_TYPE, CERT_NAME_RDN_TYPE}) {
            if (flags && type == CERT_NAME_SIMPLE_DISPLAY_TYPE) continue;
            CertGetNameStringW(certificate, type, flags, nullptr, nullptr, 0);
            CertGetNameStringW(certificate, type, flags, nullptr, text, std::size(text));
        }
    }
    CertFindExtension("2.5.29.16", certificate->pCertInfo->cExtension, certificate->pCertInfo->rgExtension);
    for (const FILETIME& time : {certificate->pCertInfo->NotBefore, certificate->pCertInfo->NotAfter}) {
        SYSTEMTIME utc, local;
        FileTimeToSystemTime(&time, &utc);
        SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local);
        GetDateFormatW(LOCALE_USER_DEFAULT, DATE_LONGDATE, &local, nullptr, text, std::size(text));
        GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &local, nullptr, text, std::size(text));
    }
}

BOOL WINAPI CollectName(const void* store, DWORD, CERT_SYSTEM_STORE_INFO*, void*, void* names) {
    static_cast<std::vector<std::wstring>*>(names)->emplace_back(static_cast<const wchar_t*>(store));
    return TRUE;
}

void BareStores(CERT_PUBLIC_KEY_INFO* key) {
    std::vector<std::wstring> names;
    CertEnumSystemStore(CERT_SYSTEM_STORE_CURRENT_USER, nullptr, &names, &CollectName);
    for (const std::wstring& name : names) {
        constexpr DWORD flags =
            CERT_SYSTEM_STORE_CURRENT_USER | CERT_STORE_READONLY_FLAG | CERT_STORE_OPEN_EXISTING_FLAG;
        const HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_SYSTEM_W, kCertificateEncoding, 0, flags, name.c_str());
        PCCERT_CONTEXT found = nullptr;
        do found = CertFindCertificateInStore(store, kCertificateEncoding, 0, CERT_FIND_PUBLIC_KEY, key, found);
        while (found);
        CertCloseStore(store, 0);
    }
}

void BareCertificate(HCRYPTPROV container, DWORD keySpec, HCRYPTKEY key) {
    DWORD size = 0;
    if (!CryptGetKeyParam(key, KP_CERTIFICATE, nullptr, &size, 0)) return;
    CryptGetKeyParam(key, KP_CERTIFICATE, buffer, &size, 0);
    const PCCERT_CONTEXT certificate = CertCreateCertificateContext(kCertificateEncoding, buffer, size);
    auto* info = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(buffer);
    size = sizeof buffer;
    CryptExportPublicKeyInfo(container, keySpec, kCertificateEncoding, info, &size);
    CertComparePublicKeyInfo(kCertificateEncoding, info, &certificate->pCertInfo->SubjectPublicKeyInfo);
    BareStores(&certificate->pCertInfo->SubjectPublicKeyInfo);
    BareDetails(certificate);
    CertFreeCertificateContext(certificate);
}

HCRYPTHASH HashTestText(HCRYPTPROV container) {
    HCRYPTHASH hash = 0;
    CryptCreateHash(container, 0x801E, 0, 0, &hash);
    CryptHashData(hash, reinterpret_cast<const BYTE*>(L"Hello World"), 22, 0);
    return hash;
}

void BareKey(HCRYPTPROV container, DWORD keySpec) {
    HCRYPTKEY key = 0, imported = 0, agreed = 0;
    CryptContextAddRef(container, nullptr, 0);
    if (CryptGetUserKey(container, keySpec, &key)) {
        DWORD size = 0;
        CryptExportKey(key, 0, PUBLICKEYBLOB, 0, nullptr, &size);
        CryptExportKey(key, 0, PUBLICKEYBLOB, 0, buffer, &size);
        CryptImportKey(container, buffer, size, 0, 0, &imported);
        if (keySpec == AT_KEYEXCHANGE) CryptImportKey(container, buffer, size, key, 0, &agreed);
        const HCRYPTHASH signedHash = HashTestText(container), verifiedHash = HashTestText(container);
        CryptSignHashW(signedHash, keySpec, nullptr, 0, nullptr, &size);
        CryptSignHashW(signedHash, keySpec, nullptr, 0, buffer, &size);
        CryptVerifySignatureW(verifiedHash, buffer, size, imported, nullptr, 0);
        CryptDestroyHash(signedHash);
        CryptDestroyHash(verifiedHash);
        DWORD algorithm = 0;
        for (const DWORD parameter : {KP_PERMISSIONS, KP_ALGID})
            CryptGetKeyParam(key, parameter, reinterpret_cast<BYTE*>(&algorithm), &(size = sizeof algorithm), 0);
        CryptFindOIDInfo(CRYPT_OID_INFO_ALGID_KEY, &algorithm, 0);
        for (const DWORD parameter : {kKeyParameterAgreementSet, kKeyParameterDigestSet}) {
            CryptGetKeyParam(key, parameter, nullptr, &size, 0);
            CryptGetKeyParam(key, parameter, buffer, &size, 0);
        }
        BareCertificate(container, keySpec, key);
        if (agreed) CryptDestroyKey(agreed);
        CryptDestroyKey(imported);
        CryptDestroyKey(key);
    }
    CryptReleaseContext(container, 0);
}

void BareExtensions(HCRYPTPROV container) {
    DWORD size = 0, flags = CRYPT_FIRST;
    if (!CryptGetProvParam(container, kParameterExtensions, nullptr, &size, flags)) return;
    for (; CryptGetProvParam(container, kParameterExtensions, buffer, &size, flags); flags = 0) {
        DWORD length = 0;
        std::memcpy(&length, buffer + 4, sizeof length);
        const auto* identifier = reinterpret_cast<const char*>(buffer + 8 + length);
        static BYTE decoded[sizeof buffer];
        DWORD room = 0;
        CryptDecodeObject(kCertificateEncoding, identifier, buffer + 8, length, 0, nullptr, &room);
        CryptDecodeObject(kCertificateEncoding, identifier, buffer + 8, length, 0, decoded, &room);
        const auto* sequence = reinterpret_cast<const CRYPT_SEQUENCE_OF_ANY*>(decoded);
        for (DWORD i = 0; i < sequence->cValue; ++i) {
            const CRYPT_DER_BLOB& blob = sequence->rgValue[i];
            const PCCERT_CONTEXT certificate =
                CertCreateCertificateContext(kCertificateEncoding, blob.pbData, blob.cbData);
            BareDetails(certificate);
            CertFreeCertificateContext(certificate);
        }
    }
}

void BareCheck(HCRYPTPROV container) {
    const auto read = [=](DWORD parameter, DWORD size) { CryptGetProvParam(container, parameter, buffer, &size, 0); };
    for (const DWORD parameter : {DWORD{PP_CONTAINER}, DWORD{PP_UNIQUE_CONTAINER}, kParameterQualifiedName})
        read(parameter, sizeof buffer);
    read(kParameterIntegrity, 4);
    BareKey(container, AT_KEYEXCHANGE);
    BareKey(container, AT_SIGNATURE);
    read(kParameterKeysLoading, 4);
    BareExtensions(container);
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    const int rounds = count > 2 ? std::max(1, _wtoi(arguments[2])) : 101;
    CCryptProvContext container;
    if (count < 2 || !container.Acquire(0, arguments[1], nullptr, kProviderType75)) {
        std::fprintf(stderr, "check_bench: no such container (0x%08lX)\n", GetLastError());
        return 1;
    }
    std::vector<double> checks, loops, ratios;
    Counted report;
    constexpr int kWarmUps = 5;
    for (int round = -kWarmUps; round < rounds; ++round) {
        report = {};
        const double start = Now();
        CheckContainer(container.Get(), KeySet::User, report);
        const double middle = Now();
        BareCheck(container.Get());
        const double end = Now();
        if (round < 0) continue;
        checks.push_back(middle - start);
        loops.push_back(end - middle);
        ratios.push_back(checks.back() / loops.back());
    }
    std::printf(
        "check of %d rows, %d errors: median %.2f ms; bare loop: median %.2f ms; check / loop: %.3f (wanted: at most "
        "1.05)\n",
        report.rows, report.failures, Median(checks), Median(loops), Median(ratios));
    return 0;
}
