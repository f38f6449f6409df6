// Certificate files, and certificate stores of the system, looked into and put back.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "framework/Handles.h"
#include "tests/support/Directory.h"

// Where the certificate files lie that the tests bring along, with the last backslash.
inline const std::wstring kData = ProgramDirectory() + L"data\\";

inline std::string Read(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string Decoded(const std::string& base64) {
    auto size = static_cast<DWORD>(base64.size());
    std::vector<BYTE> bytes(size);
    CryptStringToBinaryA(base64.c_str(), 0, CRYPT_STRING_BASE64HEADER, bytes.data(), &size, nullptr, nullptr);
    return {bytes.begin(), bytes.begin() + size};
}

inline UniqueCertificateStore SystemStore(const wchar_t* name, bool machine = false) {
    const DWORD place = machine ? CERT_SYSTEM_STORE_LOCAL_MACHINE : CERT_SYSTEM_STORE_CURRENT_USER;
    return UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, place, name));
}

inline int CountCertificates(HCERTSTORE store) {
    int count = 0;
    for (PCCERT_CONTEXT at = nullptr; (at = CertEnumCertificatesInStore(store, at));) ++count;
    return count;
}

// One that the tests made: they name them so.
inline UniqueCertificate FindTestCertificate(HCERTSTORE store) {
    return UniqueCertificate(
        CertFindCertificateInStore(store, X509_ASN_ENCODING, 0, CERT_FIND_SUBJECT_STR_W, L"VestraTest", nullptr));
}

// One more of that name, with a key of its own, which it has a link to.
inline UniqueCertificate SelfSigned() {
    BYTE name[] = "\x30\x15\x31\x13\x30\x11\x06\x03\x55\x04\x03\x0C\x0AVestraTest";
    CERT_NAME_BLOB subject{sizeof name - 1, name};
    return UniqueCertificate(
        CertCreateSelfSignCertificate(0, &subject, 0, nullptr, nullptr, nullptr, nullptr, nullptr));
}

// How many there were in "My", "ca" and "root", of the machine, then of the user, whose stores show the machine's too.
inline std::string RemoveTestCertificates() {
    std::string removed;
    for (const bool machine : {true, false}) {
        for (const wchar_t* name : {L"My", L"ca", L"root"}) {
            const UniqueCertificateStore store = SystemStore(name, machine);
            int count = 0;
            for (; UniqueCertificate found = FindTestCertificate(store.get()); ++count)
                CertDeleteCertificateFromStore(found.release());
            removed += std::to_string(count) + "|";
            // Not every system writes what was deleted when the store is closed.
            CertControlStore(store.get(), CERT_STORE_CTRL_COMMIT_FORCE_FLAG, CERT_STORE_CTRL_COMMIT, nullptr);
        }
    }
    return removed;
}

// The user's stores are at the end as they were before the object, and so are the machine's, which show in them.
class KeptStores {
  public:
    KeptStores() { RemoveTestCertificates(), before_ = Counts(); }
    ~KeptStores() { EXPECT_TRUE((RemoveTestCertificates(), Counts()) == before_); }

  private:
    static std::string Counts() {
        std::string counts;
        for (const wchar_t* name : {L"My", L"ca", L"root"})
            counts += std::to_string(CountCertificates(SystemStore(name).get())) + "|";
        return counts;
    }
    std::string before_;
};
