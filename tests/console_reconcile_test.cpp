// What doesn't fit between stores and containers, and which periods end, from lists that the tests make.
#include "console/EndingPeriods.h"
#include "console/Reconciliation.h"
#include "tests/support/Certificates.h"

namespace {

using Text = std::wstring;
using enum KeySet;

// Certificates have numbers. 0: a key that can't be read, or no certificate beside it.
struct Held {
    Text name;
    int key, certificate = 0;
    KeySet keySet = User;
};
struct Stored {
    int certificate;
    const wchar_t *store, *link = nullptr;
};

struct Reconciled : testing::Test {
    UniqueCertificate Copy(int number) const {
        return UniqueCertificate(CertDuplicateCertificateContext(certificates[number - 1].get()));
    }
    HeldContainer Container(const Held& held) const {
        HeldContainer container{{L"P", 75, held.keySet, held.name}, {held.name, L"CARRIER\\" + held.name}, {}};
        HeldKey& key = container.keys.emplace_back(HeldKey{AT_KEYEXCHANGE, {}, {}});
        if (held.certificate != 0) key.certificate = Copy(held.certificate);
        if (held.key == 0) return container;
        const CRYPT_BIT_BLOB& blob = certificates[held.key - 1].get()->pCertInfo->SubjectPublicKeyInfo.PublicKey;
        key.publicKey = {blob.pbData, blob.pbData + blob.cbData};
        return container;
    }
    StoredCertificate Certificate(const Stored& in) const {
        StoredCertificate stored{User, in.store, Copy(in.certificate), {}};
        if (in.link) stored.link = KeyLink{in.link, L"P", 75, User, AT_KEYEXCHANGE};
        return stored;
    }
    const UniqueCertificate certificates[2] = {SelfSigned(), SelfSigned()};
};

TEST_F(Reconciled, FindsWhatDoesNotFit) {
    const struct {
        const char* name;
        std::vector<Held> containers;
        std::vector<Stored> certificates;
        std::string found;  // the kind, the certificate, the containers' positions, and the repair
    } cases[] = {
        {"in order, by another name in another case", {{L"a", 1, 1}}, {{1, L"My", L"carrier\\A"}}, ""},
        {"no container", {}, {{1, L"My", L"gone"}}, "noContainer 1"},
        {"no container, another has the key", {{L"b", 1}}, {{1, L"My", L"gone"}}, "noContainer 1 0 link"},
        {"no container, but the computer's", {{L"b", 1, 0, Computer}}, {{1, L"My", L"gone"}}, "noContainer 1 0"},
        {"other key elsewhere", {}, {{1, L"My", L"other"}}, "otherKeyLinked 1"},
        {"other key, another has it", {{L"a", 2}, {L"b", 1}}, {{1, L"My", L"a"}}, "otherKeyLinked 1 1 link"},
        {"key that can't be read", {{L"a", 0}}, {{1, L"My", L"a"}}, ""},
        {"other key beside the certificate", {{L"a", 1, 2}}, {}, "otherKeyHeld 2 0"},
        {"unknown key beside the certificate", {{L"a", 0, 2}}, {}, ""},
        {"not in a store", {{L"a", 1, 1}}, {{2, L"My", L"same"}}, "notInStore 1 0 install"},
        {"in another store", {{L"a", 1, 1}}, {{1, L"ca"}}, ""},
        {"in the user's store", {{L"a", 1, 1, Computer}}, {{1, L"ca"}}, "notInStore 1 0 install"},
        {"two have it", {{L"a", 1, 1}, {L"b", 1, 1}}, {}, "notInStore 1 0; notInStore 1 1; severalContainers 1 0 1"},
        {"no link", {{L"a", 1}}, {{1, L"My"}}, "noLink 1 0 link"},
        {"no link in another store", {{L"a", 1}}, {{1, L"AddressBook"}}, ""},
        {"no link, two have the key", {{L"a", 1}, {L"b", 1}}, {{1, L"My"}}, "noLink 1 0 1; severalContainers 1 0 1"},
        {"several without a certificate", {{L"a", 1}, {L"b", 1}}, {}, ""},
        {"one that two providers list", {{L"a", 1, 1}, {L"a", 1, 1}}, {}, "notInStore 1 0 install"},
        {"same name", {{L"a", 1, 1}, {L"a", 2, 2, Computer}}, {{1, L"My", L"a"}}, "notInStore 2 1 install"},
    };
    static constexpr const char* kNames[] = {"noContainer", "otherKeyLinked", "otherKeyHeld",
                                             "notInStore",  "noLink",         "severalContainers"};
    const FollowLink follow = [](const KeyLink& link, const CERT_CONTEXT&) {
        if (link.container == L"same") return LinkTarget::SameKey;
        return link.container == L"other" ? LinkTarget::OtherKey : LinkTarget::Missing;
    };
    for (const auto& c : cases) {
        std::vector<HeldContainer> held;
        std::vector<StoredCertificate> stored;
        for (const Held& one : c.containers) held.push_back(Container(one));
        for (const Stored& one : c.certificates) stored.push_back(Certificate(one));
        std::string found;
        for (const Finding& finding : FindMismatches(held, stored, follow)) {
            found += (found.empty() ? "" : "; ") + std::string(kNames[static_cast<size_t>(finding.mismatch)]);
            const bool first = CertCompareCertificate(X509_ASN_ENCODING, finding.certificate->pCertInfo,
                                                      certificates[0].get()->pCertInfo) != FALSE;
            found += first ? " 1" : " 2";
            for (const KeyPlace& key : finding.keys) found += " " + std::to_string(key.container);
            if (finding.repair != Repair::None) found += finding.repair == Repair::Link ? " link" : " install";
        }
        EXPECT_EQ(found, c.found) << c.name;
    }
}

TEST_F(Reconciled, PeriodsEndOnTheLastDayToo) {
    constexpr LONGLONG kDay = 24LL * 60 * 60 * 10'000'000;
    const CERT_CONTEXT& certificate = *certificates[0].get();
    const FILETIME& end = certificate.pCertInfo->NotAfter;
    const struct {
        const char* name;
        LONGLONG before;  // the end, in units of 100 nanoseconds
        int days;
        size_t listed;
        bool ended;
    } cases[] = {
        {"ended", -1, 0, 1, true},
        {"ends now", 0, 0, 1, false},
        {"the last moment", 30 * kDay, 30, 1, false},
        {"a moment too late", 30 * kDay + 1, 30, 0, false},
        {"the longest time", kDay, 36500, 1, false},
    };
    for (const auto& c : cases) {
        const LONGLONG now = (LONGLONG{end.dwHighDateTime} << 32 | end.dwLowDateTime) - c.before;
        EndingPeriods periods({static_cast<DWORD>(now), static_cast<DWORD>(now >> 32)}, c.days);
        periods.AddFromStore(certificate, User, L"My");
        periods.AddFromContainer(certificate, {L"P", 75, User, L"a"});
        const auto listed = periods.SoonestFirst();
        ASSERT_EQ(listed.size(), c.listed) << c.name << ": one period for both places";
        for (const EndingPeriod* period : listed) EXPECT_EQ(period->hasEnded, c.ended) << c.name;
    }
}

}  // namespace
