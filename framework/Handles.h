// The owning handles in use, one policy each.
#pragma once

#include <windows.h>

#include "framework/UniqueHandle.h"

struct ModulePolicy {
    using Handle = HMODULE;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle module) noexcept { FreeLibrary(module); }
};
using UniqueModule = UniqueHandle<ModulePolicy>;

struct KernelHandlePolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle handle) noexcept { CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandlePolicy>;

struct RegistryKeyPolicy {
    using Handle = HKEY;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle key) noexcept { RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyPolicy>;

struct IconPolicy {
    using Handle = HICON;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle icon) noexcept { DestroyIcon(icon); }
};
using UniqueIcon = UniqueHandle<IconPolicy>;

struct CursorPolicy {
    using Handle = HCURSOR;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle cursor) noexcept { DestroyCursor(cursor); }
};
using UniqueCursor = UniqueHandle<CursorPolicy>;

template <class GdiHandle>
struct GdiPolicy {
    using Handle = GdiHandle;
    static Handle null() noexcept { return nullptr; }
    static void close(Handle object) noexcept { DeleteObject(object); }
};
using UniqueFont = UniqueHandle<GdiPolicy<HFONT>>;
using UniqueBitmap = UniqueHandle<GdiPolicy<HBITMAP>>;
using UniqueBrush = UniqueHandle<GdiPolicy<HBRUSH>>;

struct ActivationContextPolicy {
    using Handle = HANDLE;
    static Handle null() noexcept { return INVALID_HANDLE_VALUE; }
    static void close(Handle context) noexcept { ReleaseActCtx(context); }
};
using UniqueActivationContext = UniqueHandle<ActivationContextPolicy>;
