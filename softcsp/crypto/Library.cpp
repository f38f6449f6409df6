#include "softcsp/crypto/Library.h"

#include <windows.h>

#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace softcsp {
namespace {

constexpr int kSecurePool = 16384;  // bytes of memory that is wiped when freed; it grows on demand

// libgcrypt writes advice about entropy to the console of the calling program. Only messages before an abort are kept.
void Log(void*, int level, const char* format, va_list arguments) {
    if (level != GCRY_LOG_FATAL && level != GCRY_LOG_BUG) return;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the library's own format
    std::vfprintf(stderr, format, arguments);
#pragma GCC diagnostic pop
}

// The state of libgcrypt: one per module that it is linked into, as libgcrypt itself is.
struct {
    INIT_ONCE once = INIT_ONCE_STATIC_INIT;
    bool ready = false;
} library;

// libgcrypt never frees its tables and pools, some 220 KB, and the system unloads a provider with its last context. So
// the module is kept loaded.
bool KeepLoaded() {
    HMODULE module = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<const wchar_t*>(&library), &module);
}

BOOL CALLBACK Initialise(INIT_ONCE*, void*, void**) {
    gcry_set_log_handler(Log, nullptr);
    if (!KeepLoaded() || gcry_check_version(GCRYPT_VERSION) == nullptr) return TRUE;
    gcry_control(GCRYCTL_DISABLE_SECMEM_WARN);  // pages cannot be locked here; they are wiped nevertheless
    gcry_control(GCRYCTL_AUTO_EXPAND_SECMEM, kSecurePool);
    gcry_control(GCRYCTL_INIT_SECMEM, kSecurePool, 0);
    library.ready = gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0) == 0;
    return TRUE;
}

}  // namespace

void PrepareCrypto() {
    InitOnceExecuteOnce(&library.once, Initialise, nullptr, nullptr);
    if (!library.ready) throw std::runtime_error("libgcrypt can't be used");
}

void CheckCrypto(gcry_error_t code) {
    if (code != 0) throw std::runtime_error(gcry_strerror(code));
}

MacHandle OpenMac(int algorithm, const SymmetricKey& key) {
    PrepareCrypto();
    gcry_mac_hd_t handle = nullptr;
    CheckCrypto(gcry_mac_open(&handle, algorithm, GCRY_MAC_FLAG_SECURE, nullptr));
    MacHandle mac(handle);
    CheckCrypto(gcry_mac_setkey(handle, key.Bytes().data(), key.Bytes().size()));
    return mac;
}

}  // namespace softcsp
