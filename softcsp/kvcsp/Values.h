// Codes, and values as functions of CryptoAPI hand them out.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <cstring>
#include <string_view>

#include "softcsp/common/Bytes.h"

namespace softcsp {

constexpr DWORD Code(HRESULT result) {
    return static_cast<DWORD>(result);
}

// The size rule: no data asks for the size; a buffer too small is ERROR_MORE_DATA and stays; *size is always the size
// of the whole.
inline DWORD Give(ByteView value, BYTE* data, DWORD* size) {
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(value.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (capacity < value.size()) return ERROR_MORE_DATA;
    if (!value.empty()) std::memcpy(data, value.data(), value.size());
    return ERROR_SUCCESS;
}

// A record's or number's bytes.
template <class Record>
Bytes BytesOf(const Record& record) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(&record);
    return {first, first + sizeof record};
}

// A text with its terminator.
inline Bytes TextBytes(std::string_view text) {
    Bytes bytes(text.begin(), text.end());
    bytes.push_back(0);
    return bytes;
}

}  // namespace softcsp
