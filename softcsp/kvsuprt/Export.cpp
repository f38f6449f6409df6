#include "softcsp/kvsuprt/Export.h"

#include <cstring>

namespace softcsp {

DWORD GiveText(std::wstring_view text, wchar_t* buffer, DWORD* length) noexcept {
    if (length == nullptr) return ERROR_INVALID_PARAMETER;
    const DWORD capacity = *length;
    *length = static_cast<DWORD>(text.size());
    if (buffer == nullptr) return ERROR_SUCCESS;
    if (capacity < text.size()) return ERROR_MORE_DATA;
    std::memcpy(buffer, text.data(), text.size() * sizeof(wchar_t));
    buffer[text.size()] = L'\0';
    return ERROR_SUCCESS;
}

}  // namespace softcsp
