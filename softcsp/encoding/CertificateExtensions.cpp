// What certificates and containers carry in extensions. Apart from the issuing, which brings libgcrypt along.
#include "softcsp/encoding/Certificates.h"

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

constexpr std::uint8_t kFrom = 0x80;  // context tags of the period's two times
constexpr std::uint8_t kTo = 0x81;

// The parts of a generalized time "YYYYMMDDHHMMSSZ": their digits, and which field of the system's time they are.
constexpr struct {
    std::size_t digits;
    WORD SYSTEMTIME::*field;
} kTimeParts[] = {
    {4, &SYSTEMTIME::wYear}, {2, &SYSTEMTIME::wMonth},  {2, &SYSTEMTIME::wDay},
    {2, &SYSTEMTIME::wHour}, {2, &SYSTEMTIME::wMinute}, {2, &SYSTEMTIME::wSecond},
};
constexpr std::size_t kTimeLength = 15;
constexpr WORD kLastYear = 9999;

// Fractions of a second are dropped. Empty when the year has more than four digits.
Bytes GeneralizedTime(const FILETIME& time) {
    SYSTEMTIME parts;
    if (!FileTimeToSystemTime(&time, &parts) || parts.wYear > kLastYear) return {};
    Bytes text;
    for (const auto& [digits, field] : kTimeParts) {
        unsigned rest = parts.*field;
        text.resize(text.size() + digits);
        for (std::size_t i = 1; i <= digits; ++i, rest /= 10)
            text[text.size() - i] = static_cast<std::uint8_t>('0' + rest % 10);
    }
    text.push_back('Z');
    return text;
}

bool ParseTime(ByteView text, FILETIME& time) {
    if (text.size() != kTimeLength || text.back() != 'Z') return false;
    SYSTEMTIME parts{};
    for (const auto& [digits, field] : kTimeParts) {
        unsigned value = 0;
        for (std::uint8_t digit : text.first(digits)) {
            if (digit < '0' || digit > '9') return false;
            value = value * 10 + (digit - '0');
        }
        parts.*field = static_cast<WORD>(value);
        text = text.subspan(digits);
    }
    return SystemTimeToFileTime(&parts, &time) != FALSE;
}

// Leaves a missing time missing. False when it is there and makes no sense.
bool TakeTime(der::Reader& reader, std::uint8_t tag, std::optional<FILETIME>& time) {
    if (reader.NextTag() != tag) return true;
    const auto text = reader.Take(tag);
    return text && ParseTime(*text, time.emplace());
}

}  // namespace

Bytes EncodeUsagePeriod(const UsagePeriod& period) {
    const Bytes from = GeneralizedTime(period.from), to = GeneralizedTime(period.to);
    if (from.empty() || to.empty()) return {};
    return der::Element(der::kSequence, {der::Element(kFrom, {from}), der::Element(kTo, {to})});
}

std::optional<DecodedUsagePeriod> DecodeUsagePeriod(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Take(der::kSequence);
    // One of the two must be there.
    if (!content || content->empty() || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    DecodedUsagePeriod period;
    if (!TakeTime(reader, kFrom, period.from) || !TakeTime(reader, kTo, period.to) || !reader.AtEnd())
        return std::nullopt;
    return period;
}

Bytes EncodeCertificateSequence(const std::vector<Bytes>& certificates) {
    Bytes all;
    for (const Bytes& certificate : certificates) all.insert(all.end(), certificate.begin(), certificate.end());
    return der::Element(der::kSequence, {all});
}

std::optional<std::vector<ByteView>> DecodeCertificateSequence(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Take(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    std::vector<ByteView> certificates;
    for (der::Reader reader(*content); !reader.AtEnd();) {
        if (reader.NextTag() != der::kSequence) return std::nullopt;
        const auto certificate = reader.TakeWhole();
        if (!certificate) return std::nullopt;
        certificates.push_back(*certificate);
    }
    return certificates;
}

}  // namespace softcsp
