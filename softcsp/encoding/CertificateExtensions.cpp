// The contents of certificates and extensions. Separate from issuing, which needs libgcrypt.
#include "softcsp/encoding/Certificates.h"

#include <cstdio>

namespace softcsp {
namespace {

constexpr std::uint8_t kFrom = 0x80;  // context tags of the two times of a period
constexpr std::uint8_t kTo = 0x81;

constexpr std::size_t kTimeLength = 15;  // "YYYYMMDDHHMMSSZ"

// An element with the time, whose fractions of a second are dropped; nothing without a time.
Bytes TimeElement(std::uint8_t tag, const std::optional<FILETIME>& time) {
    SYSTEMTIME parts{};
    if (!time) return {};
    FileTimeToSystemTime(&*time, &parts);
    char text[kTimeLength + 1];
    std::snprintf(text, sizeof text, "%04hu%02hu%02hu%02hu%02hu%02huZ", parts.wYear, parts.wMonth, parts.wDay,
                  parts.wHour, parts.wMinute, parts.wSecond);
    return der::Element(tag, {{reinterpret_cast<const std::uint8_t*>(text), kTimeLength}});
}

// A missing time stays empty. False for a malformed one.
bool ReadTime(der::Reader& reader, std::uint8_t tag, std::optional<FILETIME>& time) {
    if (reader.NextTag() != tag) return true;
    const auto content = reader.Read(tag);
    const std::string text = content ? std::string(content->begin(), content->end()) : std::string();
    if (text.size() != kTimeLength || text.find_first_not_of("0123456789") != kTimeLength - 1 || text.back() != 'Z')
        return false;
    SYSTEMTIME parts{};
    std::sscanf(text.c_str(), "%4hu%2hu%2hu%2hu%2hu%2hu", &parts.wYear, &parts.wMonth, &parts.wDay, &parts.wHour,
                &parts.wMinute, &parts.wSecond);
    return SystemTimeToFileTime(&parts, &time.emplace()) != FALSE;
}

// From the address to the end of the readable memory around it; empty if it cannot be read.
ByteView MemoryAt(const BYTE* data) {
    MEMORY_BASIC_INFORMATION region;
    if (VirtualQuery(data, &region, sizeof region) == 0 || region.State != MEM_COMMIT ||
        (region.Protect & (PAGE_NOACCESS | PAGE_GUARD)) != 0)
        return {};
    return {data, static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize};
}

}  // namespace

// Only the heads of the elements are read before their lengths have been found to agree.
Bytes ReadCertificateAt(const BYTE* data) {
    const auto certificate = der::Reader(MemoryAt(data)).ReadWhole();
    if (!certificate || !IsCertificate(*certificate)) return {};
    return {certificate->begin(), certificate->end()};
}

Bytes EncodeUsagePeriod(const UsagePeriod& period) {
    return der::Element(der::kSequence, {TimeElement(kFrom, period.from), TimeElement(kTo, period.to)});
}

std::optional<UsagePeriod> DecodeUsagePeriod(ByteView der) {
    der::Reader whole(der);
    const auto content = whole.Read(der::kSequence);
    // At least one of the two is required.
    if (!content || content->empty() || !whole.AtEnd()) return std::nullopt;
    der::Reader reader(*content);
    UsagePeriod period;
    if (!ReadTime(reader, kFrom, period.from) || !ReadTime(reader, kTo, period.to) || !reader.AtEnd())
        return std::nullopt;
    return period;
}

}  // namespace softcsp
