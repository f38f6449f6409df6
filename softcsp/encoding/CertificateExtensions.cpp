// The contents of certificates and extensions. Separate from issuing, which needs libgcrypt.
#include "softcsp/encoding/Certificates.h"

#include "softcsp/encoding/Der.h"

namespace softcsp {
namespace {

constexpr std::uint8_t kFrom = 0x80;  // context tags of the two times of a period
constexpr std::uint8_t kTo = 0x81;

// The parts of a generalized time "YYYYMMDDHHMMSSZ": the number of digits, and the field of the system's time.
constexpr struct {
    std::size_t digits;
    WORD SYSTEMTIME::*field;
} kTimeParts[] = {
    {4, &SYSTEMTIME::wYear}, {2, &SYSTEMTIME::wMonth},  {2, &SYSTEMTIME::wDay},
    {2, &SYSTEMTIME::wHour}, {2, &SYSTEMTIME::wMinute}, {2, &SYSTEMTIME::wSecond},
};
constexpr std::size_t kTimeLength = 15;
constexpr WORD kLastYear = 9999;

// Fractions of a second are dropped. Empty if the year has more than four digits.
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

// A missing time stays empty. False for a malformed one.
bool ReadTime(der::Reader& reader, std::uint8_t tag, std::optional<FILETIME>& time) {
    if (reader.NextTag() != tag) return true;
    const auto text = reader.Read(tag);
    return text && ParseTime(*text, time.emplace());
}

// Up to `size` bytes at an address that a program passed without a size. Shorter if the memory ends.
Bytes ReadMemory(const BYTE* data, std::size_t size) {
    Bytes bytes(size);
    SIZE_T read = 0;
    ReadProcessMemory(GetCurrentProcess(), data, bytes.data(), size, &read);
    bytes.resize(read);
    return bytes;
}

// The length of an element with its head, from its head alone. 0 unless it has the tag and a definite length of at most
// three bytes. `head` becomes the length of the head.
std::size_t LengthAt(const BYTE* data, std::uint8_t tag, std::size_t& head) {
    constexpr std::size_t kMostLengthBytes = 3;
    head = 2;
    Bytes bytes = ReadMemory(data, head);
    if (bytes.size() != head || bytes[0] != tag) return 0;
    if (bytes[1] < 0x80) return head + bytes[1];
    const std::size_t count = bytes[1] & 0x7FU;
    if (count == 0 || count > kMostLengthBytes) return 0;
    head += count;
    bytes = ReadMemory(data, head);
    if (bytes.size() != head) return 0;
    std::size_t length = 0;
    for (std::size_t i = 2; i < head; ++i) length = length << 8 | bytes[i];
    return head + length;
}

constexpr std::uint8_t kCertificateParts[] = {der::kSequence, der::kSequence, der::kBitString};

}  // namespace

bool IsCertificate(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return false;
    der::Reader parts(*content);
    for (const std::uint8_t tag : kCertificateParts)
        if (!parts.Read(tag)) return false;
    return parts.AtEnd();
}

Bytes ReadCertificateAt(const BYTE* data) {
    std::size_t head = 0, end = 0;
    const std::size_t length = LengthAt(data, der::kSequence, head);
    if (length == 0) return {};
    // Only the heads of the parts are read before their lengths have been found to agree with the whole.
    end = head;
    for (const std::uint8_t tag : kCertificateParts) {
        const std::size_t part = end < length ? LengthAt(data + end, tag, head) : 0;
        if (part == 0) return {};
        end += part;
    }
    if (end != length) return {};
    Bytes certificate = ReadMemory(data, length);
    return IsCertificate(certificate) ? certificate : Bytes();
}

Bytes EncodeUsagePeriod(const UsagePeriod& period) {
    const Bytes from = GeneralizedTime(period.from), to = GeneralizedTime(period.to);
    if (from.empty() || to.empty()) return {};
    return der::Element(der::kSequence, {der::Element(kFrom, {from}), der::Element(kTo, {to})});
}

std::optional<DecodedUsagePeriod> DecodeUsagePeriod(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Read(der::kSequence);
    // At least one of the two is required.
    if (!content || content->empty() || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    DecodedUsagePeriod period;
    if (!ReadTime(reader, kFrom, period.from) || !ReadTime(reader, kTo, period.to) || !reader.AtEnd())
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
    const auto content = whole.Read(der::kSequence);
    if (!content || !whole.AtEnd()) return std::nullopt;
    std::vector<ByteView> certificates;
    for (der::Reader reader(*content); !reader.AtEnd();) {
        if (reader.NextTag() != der::kSequence) return std::nullopt;
        const auto certificate = reader.ReadWhole();
        if (!certificate) return std::nullopt;
        certificates.push_back(*certificate);
    }
    return certificates;
}

}  // namespace softcsp
