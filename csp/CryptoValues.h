// Values that CryptoAPI returns through a buffer and a length: bytes, records of a fixed size, and texts.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "framework/Result.h"
#include "framework/Text.h"

using Bytes = std::vector<BYTE>;

// The encodings of certificates and of the structures inside them.
constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// In the following functions `query(BYTE* data, DWORD* length)` is one call of a function that returns a value. On
// input `*length` is the size of the buffer `data`, on output the size of the value, both in bytes; without a buffer
// the call returns the size only. The query returns FALSE on failure and sets the thread's last error, which becomes
// the failure of the result.

// The queries for a parameter of a provider or of a key, and for a key blob. `wrapping` 0: the key isn't wrapped.
inline auto ProviderQuery(HCRYPTPROV provider, DWORD parameter) noexcept {
    return [=](BYTE* data, DWORD* length) { return CryptGetProvParam(provider, parameter, data, length, 0); };
}
inline auto KeyQuery(HCRYPTKEY key, DWORD parameter) noexcept {
    return [=](BYTE* data, DWORD* length) { return CryptGetKeyParam(key, parameter, data, length, 0); };
}
inline auto KeyBlobQuery(HCRYPTKEY key, HCRYPTKEY wrapping, DWORD blobType) noexcept {
    return [=](BYTE* data, DWORD* length) { return CryptExportKey(key, wrapping, blobType, 0, data, length); };
}

// Queries the length, then the value.
template <class Query>
Result<Bytes> ReadBytes(Query&& query) {
    DWORD length = 0;
    if (const Result<> measured = Try(query(nullptr, &length)); !measured) return measured.Failed();
    Bytes bytes(length);
    if (const Result<> read = Try(query(bytes.data(), &length)); !read) return read.Failed();
    bytes.resize(std::min<std::size_t>(length, bytes.size()));
    return bytes;
}

// Queries the value with a buffer of `usualSize` bytes, and once more with a larger one after ERROR_MORE_DATA: one call
// for a value of the usual size. With 0 the length is queried first.
template <class Query>
Result<Bytes> ReadBytes(std::size_t usualSize, Query&& query) {
    if (usualSize == 0) return ReadBytes(query);
    Bytes bytes(usualSize);
    auto length = static_cast<DWORD>(usualSize);
    Result<> read = Try(query(bytes.data(), &length));
    if (!read && read.Failed().Is(ERROR_MORE_DATA)) {
        bytes.resize(length);
        read = Try(query(bytes.data(), &length));
    }
    if (!read) return read.Failed();
    bytes.resize(std::min<std::size_t>(length, bytes.size()));
    return bytes;
}

// Queries a number or a record of a fixed size. Fails with ERROR_INVALID_DATA when the value has another size.
template <class Value, class Query>
Result<Value> ReadValue(Query&& query) {
    static_assert(std::is_trivially_copyable_v<Value>);
    Value value{};
    DWORD length = sizeof value;
    if (const Result<> read = Try(query(reinterpret_cast<BYTE*>(&value), &length)); !read) return read.Failed();
    if (length != sizeof value) return Failure{ERROR_INVALID_DATA};
    return value;
}

// An ANSI text that ends at its terminator, or with the bytes.
inline std::wstring FromAnsi(const Bytes& text) {
    const auto* characters = reinterpret_cast<const char*>(text.data());
    return FromAnsi(std::string_view(characters, strnlen(characters, text.size())));
}

// A text of UTF-16 units that ends at its terminator, or with the bytes.
inline std::wstring FromWide(const Bytes& text) {
    const auto* units = reinterpret_cast<const wchar_t*>(text.data());
    return {units, wcsnlen(units, text.size() / sizeof(wchar_t))};
}

// Query an ANSI text, or a text of UTF-16 units: the length, then the text.
template <class Query>
Result<std::wstring> ReadAnsiText(Query&& query) {
    return ReadBytes(query).Then([](const Bytes& text) { return Result<std::wstring>(FromAnsi(text)); });
}
template <class Query>
Result<std::wstring> ReadWideText(Query&& query) {
    return ReadBytes(query).Then([](const Bytes& text) { return Result<std::wstring>(FromWide(text)); });
}
