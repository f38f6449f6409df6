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
    UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, overwrite ? CREATE_ALWAYS : CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    DWORD written = 0;
    if (WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    file.reset();
    DeleteFileW(path.c_str());
    return error;
}
