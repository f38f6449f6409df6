// One opened provider context, and the table of those that are open. Results are codes of CryptoAPI, 0 = success.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <map>
#include <memory>
#include <string>

namespace softcsp {

struct ProviderTable;

class Context {
  public:
    // Only contexts without a container can be opened so far: a container's name is NTE_BAD_KEYSET, making one
    // NTE_NOT_SUPPORTED.
    static DWORD Open(const char* container, DWORD flags, const ProviderTable& table,
                      std::shared_ptr<Context>& context);

    // Parameter by the rules of CryptGetProvParam: no data asks for the size; too small is ERROR_MORE_DATA with the
    // size needed.
    DWORD Parameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags) const;

  private:
    std::string Value(DWORD parameter, DWORD& result) const;  // its bytes

    DWORD type_ = 0;
    std::string name_;  // the provider's name that it was opened by, ANSI
};

// Handles are numbers, not addresses, so that a stale one is noticed. Callers hold no lock.
class ContextTable {
  public:
    static ContextTable& Instance();

    HCRYPTPROV Add(std::shared_ptr<Context> context);
    std::shared_ptr<Context> Find(HCRYPTPROV handle);  // empty when it isn't open
    bool Remove(HCRYPTPROV handle);

  private:
    SRWLOCK lock_ = SRWLOCK_INIT;
    std::map<HCRYPTPROV, std::shared_ptr<Context>> contexts_;
    HCRYPTPROV last_ = 0;
};

}  // namespace softcsp
