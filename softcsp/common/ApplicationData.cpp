#include "softcsp/common/ApplicationData.h"

namespace softcsp {

std::wstring ApplicationData(Owner owner) {
    wchar_t folder[MAX_PATH];
    const DWORD length =
        GetEnvironmentVariableW(owner == Owner::User ? L"LOCALAPPDATA" : L"ProgramData", folder, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return {};
    return std::wstring(folder, length) + L"\\Kelvane\\SoftCSP\\";
}

void MakeFolderOf(const std::wstring& file) {
    for (std::size_t end = file.find(L'\\', 3); end != std::wstring::npos; end = file.find(L'\\', end + 1))
        CreateDirectoryW(file.substr(0, end).c_str(), nullptr);
}

}  // namespace softcsp
