#include "pages/DomainControllers.h"

#include "framework/Handles.h"

namespace {

std::string Utf8(const std::wstring& text) {
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

// ERROR_FILE_EXISTS, or what keeps the text from being written; then no file is left behind.
DWORD WriteNew(const std::wstring& path, const std::string& text) {
    UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    DWORD written = 0;
    DWORD error = ERROR_SUCCESS;
    if (!WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        error = GetLastError();
    } else if (written != text.size()) {
        error = ERROR_DISK_FULL;
    }
    file.reset();
    if (error != ERROR_SUCCESS) DeleteFileW(path.c_str());
    return error;
}

}  // namespace

std::wstring ShownIdentifier(const DomainController& controller) {
    return L'{' + controller.identifier + L'}';
}

std::string ExportText(std::span<const DomainController> controllers) {
    std::string text;
    for (const DomainController& controller : controllers) {
        text += Utf8(controller.name) + "\r\n" + Utf8(ShownIdentifier(controller)) + "\r\n";
    }
    return text;
}

DWORD WriteExport(const std::wstring& path, const std::string& text, bool overwrite) {
    if (!overwrite) return WriteNew(path, text);
    const std::wstring directory = path.substr(0, path.find_last_of(L"\\/") + 1);
    std::wstring beside;
    DWORD error = ERROR_FILE_EXISTS;
    for (int number = 0; error == ERROR_FILE_EXISTS && number < 100; ++number) {
        beside = directory + L"~export" + std::to_wstring(number) + L".tmp";
        error = WriteNew(beside, text);
    }
    if (error != ERROR_SUCCESS || MoveFileExW(beside.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) return error;
    error = GetLastError();
    DeleteFileW(beside.c_str());
    return error;
}
