// The configuration store. It is kept in the registry: "\local\…" beneath HKEY_CURRENT_USER, every other scope beneath
// HKEY_LOCAL_MACHINE. Numbers and flags are REG_DWORD, texts REG_SZ. Results are Win32 codes, 0 = success; a failed
// call leaves its outputs unchanged.
//
// Paths are those of kvsuprt.h; a null or malformed one is ERROR_BAD_PATHNAME.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "softcsp/common/Registry.h"

namespace softcsp {

// Withdraw and restore the rights to write and remove a path and everything beneath it, so that tests can run as a
// user without these rights. One registry value per path, named as the path, outside the store.
DWORD Deny(const wchar_t* path);
DWORD Allow(const wchar_t* path);  // ERROR_FILE_NOT_FOUND unless exactly this path was denied

// One entry of a section.
struct StoreValue {
    std::wstring name;  // the last component only
    RegistryData data;  // of type REG_NONE for a subsection
};

// Rights as bits of a mask.
constexpr DWORD kRightRead = 1;
constexpr DWORD kRightWrite = 2;
constexpr DWORD kRightRemove = 8;

class Store {
  public:
    // Whether denied paths are respected. The tool ignores them while it prepares a machine.
    enum class Denials { Respected, Ignored };

    explicit Store(Denials denials = Denials::Respected) : denials_(denials) {}

    DWORD Find(const wchar_t* path, StoreValue& value) const;  // a parameter, never a section
    // The number or text at the path; ERROR_INVALID_DATA if it has another type.
    DWORD ReadNumber(const std::wstring& path, DWORD& number) const;
    DWORD ReadText(const std::wstring& path, std::wstring& text) const;
    DWORD List(const wchar_t* path, std::vector<StoreValue>& entries) const;  // subsections first
    DWORD WriteNumber(const wchar_t* path, DWORD number) const;
    DWORD WriteText(const wchar_t* path, const std::wstring& text) const;
    // An existing section stays unchanged. The security is that of a new one.
    DWORD CreateSection(const wchar_t* path, SECURITY_ATTRIBUTES* security = nullptr) const;
    DWORD RemoveParameter(const wchar_t* path) const;
    DWORD RemoveSection(const wchar_t* path) const;  // with everything beneath
    // The granted rights to a section or a parameter; ERROR_FILE_NOT_FOUND if there is neither.
    DWORD Granted(const wchar_t* path, DWORD& rights) const;

  private:
    bool MayWrite(const std::wstring& path) const;
    bool MayRemove(const std::wstring& path) const;

    Denials denials_;
};

// The language of the user interface, which the store has.
constexpr DWORD kEnglish = 1033;
constexpr DWORD kRussian = 1049;

// It is read from the store once and then cached.
class Language {
  public:
    static DWORD Get();
    static DWORD Update();  // reads the setting again
    static void Forget();
};

}  // namespace softcsp
