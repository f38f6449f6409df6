// The one owner of libgcrypt's state in a module, and owners of the objects that it gives out.
#pragma once

#include <gcrypt.h>  // before <windows.h>: it brings the sockets' header

#include <memory>

namespace softcsp {

// Makes libgcrypt ready at the first call, from whatever thread; every class here asks before its first use of it.
// False when it can't be used, and then for good. From then on the module isn't unloaded before the process ends.
bool CryptoReady();

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
using CipherHandle = std::unique_ptr<gcry_cipher_handle, Release<gcry_cipher_close>>;
using MacHandle = std::unique_ptr<gcry_mac_handle, Release<gcry_mac_close>>;

}  // namespace softcsp
