#include "softcsp/tool/Setup.h"

#include "softcsp/common/RegistryKey.h"
#include "softcsp/tool/Console.h"

namespace softcsp {
namespace {

// Writes one value, whichever kind it is.
struct Writer {
    const RegistryKey& key;
    const wchar_t* name;

    DWORD operator()(DWORD number) const { return key.WriteNumber(name, number); }
    DWORD operator()(const std::wstring& text) const { return key.WriteText(name, text); }
    DWORD operator()(const std::vector<BYTE>& bytes) const {
        return key.WriteBytes(name, bytes.data(), static_cast<DWORD>(bytes.size()));
    }
};

constexpr DWORD kLongestPath = 32768;  // characters with the terminator

}  // namespace

void WriteMachineKey(const std::wstring& path, std::initializer_list<SetupValue> values) {
    RegistryKey key;
    Check(key.Create(HKEY_LOCAL_MACHINE, path), L"can't make HKLM\\" + path);
    for (const SetupValue& value : values)
        Check(std::visit(Writer{key, value.name}, value.data), L"can't write HKLM\\" + path + L"\\" + value.name);
}

void DeleteKey(HKEY root, const std::wstring& path) {
    const DWORD result = DeleteRegistryTree(root, path);
    if (result != ERROR_FILE_NOT_FOUND) Check(result, L"can't delete " + path);
}

std::wstring OwnDirectory() {
    std::wstring path(kLongestPath, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
    Check(length == 0 || length == kLongestPath ? ERROR_BAD_PATHNAME : ERROR_SUCCESS, L"can't find my own directory");
    path.resize(length);
    path.resize(path.rfind(L'\\') + 1);
    return path;
}

}  // namespace softcsp
