// The owning handles in use, one policy each.
#pragma once

#include <windows.h>

#include <wincrypt.h>
#include <winsvc.h>

#include "framework/UniqueHandle.h"

// What the handles whose none is a null pointer have in common.
template <class HandleType>
struct NullPointerPolicy {
    using Handle = HandleType;
    static Handle null() noexcept { return nullptr; }
};

struct ModulePolicy : NullPointerPolicy<HMODULE> {
    static void close(Handle module) noexcept { FreeLibrary(module); }
};
using UniqueModule = UniqueHandle<ModulePolicy>;

struct KernelHandlePolicy : NullPointerPolicy<HANDLE> {
    static void close(Handle handle) noexcept { CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandlePolicy>;

struct FilePolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Handle file) noexcept { CloseHandle(file); }
};
using UniqueFile = UniqueHandle<FilePolicy>;

struct RegistryKeyPolicy : NullPointerPolicy<HKEY> {
    static void close(Handle key) noexcept { RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyPolicy>;

struct ServicePolicy : NullPointerPolicy<SC_HANDLE> {
    static void close(Handle service) noexcept { CloseServiceHandle(service); }
};
using UniqueService = UniqueHandle<ServicePolicy>;  // the service manager too

struct IconPolicy : NullPointerPolicy<HICON> {
    static void close(Handle icon) noexcept { DestroyIcon(icon); }
};
using UniqueIcon = UniqueHandle<IconPolicy>;

struct CursorPolicy : NullPointerPolicy<HCURSOR> {
    static void close(Handle cursor) noexcept { DestroyCursor(cursor); }
};
using UniqueCursor = UniqueHandle<CursorPolicy>;

struct CertificatePolicy : NullPointerPolicy<PCCERT_CONTEXT> {
    static void close(Handle certificate) noexcept { CertFreeCertificateContext(certificate); }
};
using UniqueCertificate = UniqueHandle<CertificatePolicy>;

struct CertificateStorePolicy : NullPointerPolicy<HCERTSTORE> {
    static void close(Handle store) noexcept { CertCloseStore(store, 0); }
};
using UniqueCertificateStore = UniqueHandle<CertificateStorePolicy>;

template <class GdiHandle>
struct GdiPolicy : NullPointerPolicy<GdiHandle> {
    static void close(GdiHandle object) noexcept { DeleteObject(object); }
};
using UniqueFont = UniqueHandle<GdiPolicy<HFONT>>;
using UniqueBitmap = UniqueHandle<GdiPolicy<HBITMAP>>;

struct ActivationContextPolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Handle context) noexcept { ReleaseActCtx(context); }
};
using UniqueActivationContext = UniqueHandle<ActivationContextPolicy>;

// CryptoAPI's handles are all of one type. Keys and hashes go before the last reference on their provider.
struct CryptPolicy {
    using Handle = ULONG_PTR;
    static Handle null() noexcept { return 0; }
};

struct CryptKeyPolicy : CryptPolicy {
    static bool close(Handle key) noexcept { return CryptDestroyKey(key) != FALSE; }
};
using UniqueCryptKey = UniqueHandle<CryptKeyPolicy>;

struct CryptHashPolicy : CryptPolicy {
    static void close(Handle hash) noexcept { CryptDestroyHash(hash); }
};
using UniqueCryptHash = UniqueHandle<CryptHashPolicy>;

struct ProviderReferencePolicy : CryptPolicy {
    static bool close(Handle provider) noexcept { return CryptReleaseContext(provider, 0) != FALSE; }
};
using UniqueProviderReference = UniqueHandle<ProviderReferencePolicy>;
