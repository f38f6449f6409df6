// What doesn't fit between stores and containers, and which periods end, from lists that the tests make.
#include "console/EndingPeriods.h"
#include "console/Reconciliation.h"
#include "tests/support/Certificates.h"

namespace {

using Text = std::wstring;

// Lists are written as words. A container is its name, its key and its certificate: "a:12" has key 1 and, beside it,
// certificate 2; "-" is none, "?" a key that can't be read. A trailing "@" makes it the computer's. A stored
// certificate is its number, its store and its link: "1:My:a"; "-" is no link.
class Reconciled : public testing::Test {
  protected:
    UniqueCertificate Copy(wchar_t number) const {
        return UniqueCertificate(CertDuplicateCertificateContext(certificates[number - L'1'].get()));
    }
    HeldContainer Container(const Text& word) const {
        const size_t colon = word.find(L':');
        const KeySet keySet = word.ends_with(L'@') ? KeySet::Computer : KeySet::User;
        const Text name = word.substr(0, colon);
        HeldContainer container{{L"P", 75, keySet, name}, {name, L"CARRIER\\" + name}, {}};
        HeldKey key{AT_KEYEXCHANGE, {}, {}};
        if (const wchar_t number = word[colon + 1]; number != L'?') {
            const CRYPT_BIT_BLOB& blob = Copy(number).get()->pCertInfo->SubjectPublicKeyInfo.PublicKey;
            key.publicKey = {blob.pbData, blob.pbData + blob.cbData};
        }
        if (word[colon + 2] != L'-') key.certificate = Copy(word[colon + 2]);
        container.keys.push_back(std::move(key));
        return container;
    }
    StoredCertificate Stored(const Text& word) const {
        const size_t end = word.find(L':', 2);
        StoredCertificate stored{KeySet::User, word.substr(2, end - 2), Copy(word[0]), {}};
        const Text link = word.substr(end + 1);
        if (link != L"-") stored.link = KeyLink{link, L"P", 75, KeySet::User, AT_KEYEXCHANGE};
        return stored;
    }
    const UniqueCertificate certificates[2] = {SelfSigned(), SelfSigned()};
};

TEST_F(Reconciled, FindsWhatDoesNotFit) {
    const struct {
        const char* name;
        std::vector<Text> containers, certificates;
        std::string found;  // the kind, the certificate, the containers' positions, and the repair
    } cases[] = {
        {"in order, by another name in another case", {L"a:11"}, {L"1:My:carrier\\A"}, ""},
        {"no container", {}, {L"1:My:gone"}, "noContainer 1"},
        {"no container, another has the key", {L"b:1-"}, {L"1:My:gone"}, "noContainer 1 0 link"},
        {"no container, the computer's has the key", {L"b:1-@"}, {L"1:My:gone"}, "noContainer 1 0"},
        {"other key elsewhere", {}, {L"1:My:other"}, "otherKeyLinked 1"},
        {"other key, another has it", {L"a:2-", L"b:1-"}, {L"1:My:a"}, "otherKeyLinked 1 1 link"},
        {"key that can't be read", {L"a:?-"}, {L"1:My:a"}, ""},
        {"other key beside the certificate", {L"a:12"}, {}, "otherKeyHeld 2 0"},
        {"unknown key beside the certificate", {L"a:?2"}, {}, ""},
        {"not in a store", {L"a:11"}, {L"2:My:same"}, "notInStore 1 0 install"},
        {"in another store", {L"a:11"}, {L"1:ca:-"}, ""},
        {"in the user's store only", {L"a:11@"}, {L"1:ca:-"}, "notInStore 1 0 install"},
        {"not in a store, two have it",
         {L"a:11", L"b:11"},
         {},
         "notInStore 1 0; notInStore 1 1; severalContainers 1 0 1"},
        {"no link", {L"a:1-"}, {L"1:My:-"}, "noLink 1 0 link"},
        {"no link in another store", {L"a:1-"}, {L"1:AddressBook:-"}, ""},
        {"no link, two have the key", {L"a:1-", L"b:1-"}, {L"1:My:-"}, "noLink 1 0 1; severalContainers 1 0 1"},
        {"several without a certificate", {L"a:1-", L"b:1-"}, {}, ""},
        {"one that two providers list", {L"a:11", L"a:11"}, {}, "notInStore 1 0 install"},
        {"same name of user and computer", {L"a:11", L"a:22@"}, {L"1:My:a"}, "notInStore 2 1 install"},
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
        for (const Text& word : c.containers) held.push_back(Container(word));
        for (const Text& word : c.certificates) stored.push_back(Stored(word));
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
        periods.AddFromStore(certificate, KeySet::User, L"My");
        periods.AddFromContainer(certificate, {L"P", 75, KeySet::User, L"a"});
        const auto listed = periods.SoonestFirst();
        ASSERT_EQ(listed.size(), c.listed) << c.name << ": one period for both places";
        for (const EndingPeriod* period : listed) EXPECT_EQ(period->hasEnded, c.ended) << c.name;
    }
}

}  // namespace
