// Certificate files, and certificate stores of the system, looked into and put back.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>

#include "framework/Handles.h"
#include "tests/support/Directory.h"

// Where the certificate files lie that the tests bring along, with the last backslash.
inline const std::wstring kData = ProgramDirectory() + L"data\\";

inline std::string Read(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
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

// The system stores with certificates, and how many each has.
using StoreCounts = std::map<std::string, int>;

// Calls `count` for "My", "ca" and "root" of the computer, then of the user, whose stores show the computer's, too.
template <class Count>
StoreCounts CountInStores(Count count) {
    StoreCounts counts;
    for (const bool machine : {true, false}) {
        for (const std::wstring name : {L"My", L"ca", L"root"}) {
            const UniqueCertificateStore store = SystemStore(name.c_str(), machine);
            if (const int found = count(store.get()))
                counts[(machine ? "computer's " : "user's ") + std::string(name.begin(), name.end())] = found;
        }
    }
    return counts;
}

// Removes the tests' certificates from the stores; how many there were.
inline StoreCounts RemoveTestCertificates() {
    return CountInStores([](HCERTSTORE store) {
        int count = 0;
        for (; UniqueCertificate found = FindTestCertificate(store); ++count)
            CertDeleteCertificateFromStore(found.release());
        // Not every system writes what was deleted when the store is closed.
        CertControlStore(store, CERT_STORE_CTRL_COMMIT_FORCE_FLAG, CERT_STORE_CTRL_COMMIT, nullptr);
        return count;
    });
}

// The stores are at the end as they were before the object.
class KeptStores {
  public:
    ~KeptStores() {
        RemoveTestCertificates();
        EXPECT_EQ(CountInStores(&CountCertificates), before_);
    }

  private:
    StoreCounts before_ = (RemoveTestCertificates(), CountInStores(&CountCertificates));
};
