// Owner of one open registry key. Results are Win32 codes, 0 = success; a failed call leaves its outputs untouched.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace softcsp {

// One registry value as stored; type and size are whatever the registry holds, so readers ask Number() and Text().
struct RegistryData {
    DWORD type = REG_NONE;
    std::vector<BYTE> bytes;

    // ERROR_INVALID_DATA unless it is a REG_DWORD of exactly four bytes.
    DWORD Number(DWORD& number) const;
    // ERROR_INVALID_DATA unless it is a REG_SZ. Ends at the first zero or at the last whole character.
    DWORD Text(std::wstring& text) const;
};

class RegistryKey {
  public:
    RegistryKey() = default;
    ~RegistryKey() { Close(); }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    DWORD Open(HKEY root, const std::wstring& path, REGSAM access);
    DWORD Create(HKEY root, const std::wstring& path);  // opened for reading and writing; parents are made too
    void Close();

    DWORD Read(const std::wstring& name, RegistryData& data) const;
    DWORD WriteNumber(const std::wstring& name, DWORD number) const;
    DWORD WriteText(const std::wstring& name, const std::wstring& text) const;
    DWORD WriteBytes(const std::wstring& name, const BYTE* bytes, DWORD count) const;
    DWORD Delete(const std::wstring& name) const;

    std::vector<std::wstring> Subkeys() const;
    std::vector<std::wstring> Values() const;

  private:
    HKEY key_ = nullptr;
};

// Removes a key with everything beneath; a missing one is ERROR_FILE_NOT_FOUND.
DWORD DeleteRegistryTree(HKEY root, const std::wstring& path);

}  // namespace softcsp
