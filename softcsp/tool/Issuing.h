// Makes the certificates that the commands ask for. All throw Failure where the crypto library or the system can't,
// and WrongUsage on what was typed wrong.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "softcsp/container/Container.h"
#include "softcsp/encoding/Certificates.h"
#include "softcsp/tool/Options.h"

namespace softcsp {

constexpr Option kNotBefore{L"--not-before", 1};
constexpr Option kNotAfter{L"--not-after", 1};

struct Validity {
    FILETIME from;
    FILETIME to;
};
// Of the two options above; by default from yesterday, for a year.
Validity ValidityOf(const Options& options);

KeyPair MakeKeyPair(const ParameterSet& curve);

struct Authority {
    std::wstring subject;
    KeyPair pair;
    Bytes certificate;
};
// A root and below it authorities, each issued by the one before; all named after `commonName`.
std::vector<Authority> MakeAuthorities(const std::wstring& commonName, std::size_t count, const Validity& validity);

struct Order {
    std::wstring subject;
    Validity validity;
    std::optional<UsagePeriod> usage;
};
// For the pair's public key, issued by the last of the authorities, self-signed when there is none.
Bytes Issue(const Order& order, const KeyPair& pair, const ParameterSet& digest,
            const std::vector<Authority>& authorities = {});

}  // namespace softcsp
