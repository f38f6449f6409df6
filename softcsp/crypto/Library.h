// The owner of libgcrypt's state in a module, and owners of libgcrypt's objects.
#pragma once

#include <gcrypt.h>  // before <windows.h>, because it includes <winsock2.h>

#include <memory>

#include "softcsp/common/Secret.h"

namespace softcsp {

// Initialises libgcrypt at the first call, from any thread; every class of this folder calls it first. Afterwards the
// module stays loaded until the process ends. Throws std::runtime_error, as everything in this folder, if libgcrypt
// cannot be used.
void PrepareCrypto();
// Throws std::runtime_error unless the code, of a function of libgcrypt, is 0.
void CheckCrypto(gcry_error_t code);

template <auto free>
struct Release {
    template <typename Object>
    void operator()(Object* object) const {
        free(object);
    }
};

using Expression = std::unique_ptr<gcry_sexp, Release<gcry_sexp_release>>;
using Number = std::unique_ptr<gcry_mpi, Release<gcry_mpi_release>>;
using Point = std::unique_ptr<gcry_mpi_point, Release<gcry_mpi_point_release>>;
using Curve = std::unique_ptr<gcry_context, Release<gcry_ctx_release>>;
using MacHandle = std::unique_ptr<gcry_mac_handle, Release<gcry_mac_close>>;

MacHandle OpenMac(int algorithm, const SymmetricKey& key);

// The authentication code of the data. `Code` is an array of bytes.
template <class Code>
Code ReadMac(const MacHandle& mac, ByteView data) {
    Code code;
    std::size_t size = code.size();
    CheckCrypto(gcry_mac_write(mac.get(), data.data(), data.size()));
    CheckCrypto(gcry_mac_read(mac.get(), code.data(), &size));
    return code;
}

}  // namespace softcsp
