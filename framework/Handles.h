// The owning handles in use, one policy each.
#pragma once

#include <windows.h>

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

struct RegistryKeyPolicy : NullPointerPolicy<HKEY> {
    static void close(Handle key) noexcept { RegCloseKey(key); }
};
using UniqueRegistryKey = UniqueHandle<RegistryKeyPolicy>;

struct IconPolicy : NullPointerPolicy<HICON> {
    static void close(Handle icon) noexcept { DestroyIcon(icon); }
};
using UniqueIcon = UniqueHandle<IconPolicy>;

struct CursorPolicy : NullPointerPolicy<HCURSOR> {
    static void close(Handle cursor) noexcept { DestroyCursor(cursor); }
};
using UniqueCursor = UniqueHandle<CursorPolicy>;

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
