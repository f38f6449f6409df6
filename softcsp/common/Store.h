// The configuration store, kept in the registry: "\local\…" beneath HKEY_CURRENT_USER, every other scope beneath
// HKEY_LOCAL_MACHINE. Numbers and flags are REG_DWORD, texts REG_SZ. Results are Win32 codes, 0 = success; a failed
// call leaves its outputs untouched. A malformed path is ERROR_BAD_PATHNAME.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "softcsp/common/RegistryKey.h"
#include "softcsp/common/StorePath.h"

namespace softcsp {

// One entry of a section.
struct StoreValue {
    std::wstring name;     // the last component only
    bool section = false;  // a subsection; it has no data
    RegistryData data;
};

// Rights as bits of a mask.
constexpr DWORD kRightRead = 1;
constexpr DWORD kRightWrite = 2;
constexpr DWORD kRightRemove = 8;

class Store {
  public:
    // Whether the list of denied paths holds. The tool that prepares a machine goes past it.
    enum class Rights { Held, Ignored };

    explicit Store(Rights rights = Rights::Held) : rights_(rights) {}

    DWORD Find(const wchar_t* path, StoreValue& value) const;                    // a parameter, never a section
    DWORD List(const wchar_t* section, std::vector<StoreValue>& entries) const;  // subsections first
    DWORD PutNumber(const wchar_t* path, DWORD number) const;
    DWORD PutText(const wchar_t* path, const std::wstring& text) const;
    DWORD PutSection(const wchar_t* path) const;  // an existing one stays as it is
    DWORD DeleteParameter(const wchar_t* path) const;
    DWORD DeleteSection(const wchar_t* path) const;  // with everything beneath
    // What may be done with a section or a parameter; ERROR_FILE_NOT_FOUND when there is neither.
    DWORD Granted(const wchar_t* path, DWORD& rights) const;

  private:
    DWORD OpenForWriting(const wchar_t* path, RegistryKey& section, std::wstring& name) const;
    bool MayWrite(const StorePath& path) const;
    bool MayRemove(const StorePath& path) const;

    Rights rights_;
};

}  // namespace softcsp
