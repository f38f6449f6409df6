#include "applet/services/SupportLibrary.h"

#include "applet/services/ProcessCaches.h"

namespace {

template <class Signature, class... Arguments>
DWORD Call(const char* name, Arguments... arguments) noexcept {
    return Caches().support.Call<Signature>(name, arguments...);
}

}  // namespace

DWORD LoadSupportLibrary() noexcept {
    return Caches().support.Load();
}
void ReleaseSupportLibrary() noexcept {
    Caches().support.Release();
}

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) noexcept {
    return Call<DWORD(HINSTANCE, UINT, wchar_t*, DWORD*)>("support_resource_string", module, id, buffer, length);
}

DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length) noexcept {
    return Call<DWORD(const wchar_t*, HINSTANCE, wchar_t*, DWORD*)>("support_resource_version_string", name, module,
                                                                    buffer, length);
}

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) noexcept {
    return Call<DWORD(const wchar_t*, DWORD*, wchar_t*)>("support_registry_get_string", path, length, buffer);
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) noexcept {
    return Call<DWORD(const wchar_t*, const wchar_t*)>("support_registry_put_string", path, text);
}

DWORD support_registry_get_long(const wchar_t* path, LONG* value) noexcept {
    return Call<DWORD(const wchar_t*, LONG*)>("support_registry_get_long", path, value);
}

DWORD support_registry_put_long(const wchar_t* path, LONG value) noexcept {
    return Call<DWORD(const wchar_t*, LONG)>("support_registry_put_long", path, value);
}

DWORD support_registry_get_bool(const wchar_t* path, BOOL* value) noexcept {
    return Call<DWORD(const wchar_t*, BOOL*)>("support_registry_get_bool", path, value);
}

DWORD support_registry_put_bool(const wchar_t* path, BOOL value) noexcept {
    return Call<DWORD(const wchar_t*, BOOL)>("support_registry_put_bool", path, value);
}

DWORD support_registry_put_section(const wchar_t* path) noexcept {
    return Call<DWORD(const wchar_t*, DWORD)>("support_registry_put_section", path, DWORD{0});
}

DWORD support_registry_delete_param(const wchar_t* path) noexcept {
    return Call<DWORD(const wchar_t*)>("support_registry_delete_param", path);
}

DWORD support_registry_delete_section(const wchar_t* path) noexcept {
    return Call<DWORD(const wchar_t*, DWORD)>("support_registry_delete_section", path, DWORD{0});
}

DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) noexcept {
    return Call<DWORD(const wchar_t*, DWORD*)>("support_registry_check_access", path, rights);
}

DWORD support_wnd_language_get() noexcept {
    return Call<DWORD()>("support_wnd_language_get");
}
DWORD support_wnd_language_update() noexcept {
    return Call<DWORD()>("support_wnd_language_update");
}
DWORD support_wnd_language_done() noexcept {
    return Call<DWORD()>("support_wnd_language_done");
}

bool MayWrite(const wchar_t* path) noexcept {
    DWORD rights = kRightWrite;
    return support_registry_check_access(path, &rights) == 0 && (rights & kRightWrite) != 0;
}
