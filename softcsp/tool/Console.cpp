#include "softcsp/tool/Console.h"

namespace softcsp {

void Print(Stream stream, std::wstring_view text) {
    const HANDLE handle = GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    const auto length = static_cast<int>(text.size());
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        WriteConsoleW(handle, text.data(), static_cast<DWORD>(length), &written, nullptr);
        return;
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    WriteFile(handle, bytes.data(), static_cast<DWORD>(size), &written, nullptr);
}

void Check(DWORD code, const std::wstring& what) {
    if (code != ERROR_SUCCESS) throw Failure{what, code};
}

}  // namespace softcsp
