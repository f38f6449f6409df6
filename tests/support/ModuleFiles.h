// Modules for the list of file versions: what the product's installer registers, and headers of images of any kind.
#pragma once

#include <windows.h>

#include <cstring>
#include <string>

// What is registered is gone with the object. Modules come in the order of their keys.
class RegisteredModules {
  public:
    ~RegisteredModules() { RegDeleteTreeW(HKEY_LOCAL_MACHINE, key_.c_str()); }
    void Add(const std::wstring& key, const std::wstring& path, DWORD type = REG_SZ) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, (key_ + L"\\kvcsp\\" + key).c_str(), L"Path", type, path.c_str(),
                        static_cast<DWORD>(path.size() * sizeof(wchar_t)));
    }

  private:
    const std::wstring key_ = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\KvexIntegrity";
};

// A file of this length with an image's headers, as far as they fit into it.
inline std::string Image(WORD machine, WORD characteristics, DWORD offset = 128, std::size_t length = 512) {
    std::string bytes = "MZ" + std::string(length - 2, '\0');
    const auto put = [&](std::size_t at, const auto& value) { std::memcpy(bytes.data() + at, &value, sizeof value); };
    put(60, offset);
    if (offset + 24 > length) return bytes;
    put(offset, IMAGE_NT_SIGNATURE);
    put(offset + 4, machine);
    put(offset + 22, characteristics);
    return bytes;
}
