#include "softcsp/container/DataProtection.h"

#include <wincrypt.h>
#include <dpapi.h>

#include <cstring>

namespace softcsp {
namespace {

// A function of crypt32.dll, which is loaded for the time of one call: most programs that open a provider do without.
template <class Function>
class SystemFunction {
  public:
    explicit SystemFunction(const char* name)
        : module_(LoadLibraryExW(L"crypt32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
        if (module_ != nullptr)
            function_ = reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }
    ~SystemFunction() {
        if (module_ != nullptr) FreeLibrary(module_);
    }
    SystemFunction(const SystemFunction&) = delete;
    SystemFunction& operator=(const SystemFunction&) = delete;

    Function* Get() const { return function_; }

  private:
    HMODULE module_;
    Function* function_ = nullptr;
};

// The system only reads through it.
DATA_BLOB Blob(ByteView bytes) {
    return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};
}

}  // namespace

DWORD ProtectKey(const SymmetricKey& key, ByteView entropy, bool forTheComputer, Bytes& protectedKey) {
    const SystemFunction<decltype(CryptProtectData)> protect("CryptProtectData");
    if (protect.Get() == nullptr) return ERROR_PROC_NOT_FOUND;
    DATA_BLOB in = Blob(key.Bytes()), bound = Blob(entropy), out{};
    const DWORD flags = CRYPTPROTECT_UI_FORBIDDEN | (forTheComputer ? CRYPTPROTECT_LOCAL_MACHINE : 0);
    if (!protect.Get()(&in, nullptr, &bound, nullptr, nullptr, flags, &out)) return GetLastError();
    protectedKey.assign(out.pbData, out.pbData + out.cbData);
    LocalFree(out.pbData);
    return ERROR_SUCCESS;
}

std::optional<SymmetricKey> UnprotectKey(ByteView protectedKey, ByteView entropy) {
    const SystemFunction<decltype(CryptUnprotectData)> unprotect("CryptUnprotectData");
    DATA_BLOB in = Blob(protectedKey), bound = Blob(entropy), out{};
    if (unprotect.Get() == nullptr ||
        !unprotect.Get()(&in, nullptr, &bound, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &out))
        return std::nullopt;
    SymmetricKey key;
    const bool fits = out.cbData == key.Room().size();
    if (fits) std::memcpy(key.Room().data(), out.pbData, out.cbData);
    Wipe(out.pbData, out.cbData);
    LocalFree(out.pbData);
    return fits ? std::optional(key) : std::nullopt;
}

}  // namespace softcsp
