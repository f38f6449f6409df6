#include "softcsp/tool/Installation.h"

#include <algorithm>

#include "softcsp/tool/Setup.h"

namespace softcsp {
namespace {

constexpr wchar_t kComponent[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";  // the panel asks for this one
constexpr wchar_t kMachineData[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\";
constexpr wchar_t kMachineProducts[] = L"SOFTWARE\\Classes\\Installer\\Products\\";
constexpr DWORD kVersion = 5u << 24 | 0u << 16 | 4821u;

// The installer's way to write a GUID as a key: no punctuation, the first three fields back to front, and in the
// rest the two digits of every byte exchanged.
std::wstring Squashed(const std::wstring& guid) {
    constexpr std::size_t kGroups[][2] = {{1, 8},  {10, 4}, {15, 4}, {20, 2}, {22, 2}, {25, 2},
                                          {27, 2}, {29, 2}, {31, 2}, {33, 2}, {35, 2}};  // where, how many digits
    std::wstring squashed;
    for (const auto& [begin, count] : kGroups) {
        std::wstring digits = guid.substr(begin, count);
        std::reverse(digits.begin(), digits.end());
        squashed += digits;
    }
    return squashed;
}

std::wstring ComponentKey() {
    return kMachineData + (L"Components\\" + Squashed(kComponent));
}
std::wstring ProductDataKey() {
    return kMachineData + (L"Products\\" + Squashed(kProductCode));
}
std::wstring ProductKey() {
    return kMachineProducts + Squashed(kProductCode);
}

}  // namespace

void DeleteInstallation() {
    for (const std::wstring& key : {ComponentKey(), ProductDataKey(), ProductKey()}) DeleteKey(HKEY_LOCAL_MACHINE, key);
}

void WriteInstallation(const std::wstring& panel) {
    const std::wstring product = Squashed(kProductCode);
    WriteMachineKey(ComponentKey(), {{product.c_str(), panel}});
    WriteMachineKey(ProductDataKey() + L"\\InstallProperties",
                    {{L"WindowsInstaller", DWORD{1}},
                     {L"DisplayName", L"Vestra CSP"},
                     {L"DisplayVersion", L"5.0.4821"},
                     {L"Version", kVersion},
                     {L"Publisher", L"Vestra CSP developers"},
                     {L"ProductID", L"none"},
                     {L"RegOwner", L"none"},
                     {L"URLInfoAbout", L"https://example.org/vestra"},
                     {L"URLUpdateInfo", L"https://example.org/vestra/updates"}});
    WriteMachineKey(ProductKey(), {{L"ProductName", L"Vestra CSP"}, {L"Version", kVersion}, {L"Assignment", DWORD{1}}});
}

}  // namespace softcsp
