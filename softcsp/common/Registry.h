// Owner of one open registry key. Results are Win32 codes, 0 = success; a failed call leaves its outputs unchanged.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace softcsp {

// One registry value as stored. Type and size are not checked; readers call Number() or Text().
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
    // Opened for reading and writing. Missing parents are created too. The security is that of a new key.
    DWORD Create(HKEY root, const std::wstring& path, SECURITY_ATTRIBUTES* security = nullptr);
    void Close();

    DWORD Read(const std::wstring& name, RegistryData& data) const;
    DWORD WriteNumber(const std::wstring& name, DWORD number) const;
    DWORD WriteText(const std::wstring& name, const std::wstring& text) const;
    DWORD WriteBytes(const std::wstring& name, const BYTE* bytes, DWORD count) const;
    DWORD Remove(const std::wstring& name) const;

    std::vector<std::wstring> Subkeys() const;
    std::vector<std::wstring> Values() const;

  private:
    HKEY key_ = nullptr;
};

// Removes a key with everything beneath; a missing one is ERROR_FILE_NOT_FOUND.
DWORD RemoveRegistryTree(HKEY root, const std::wstring& path);

}  // namespace softcsp
