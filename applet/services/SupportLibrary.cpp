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
    // The function is declared with a second argument, always 0. A library without it ignores the register.
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

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) noexcept {
    return Call<DWORD(const wchar_t*, HANDLE*)>("support_registry_search_open", path, search);
}

DWORD support_registry_search_next(HANDLE search, HANDLE* value) noexcept {
    return Call<DWORD(HANDLE, HANDLE*)>("support_registry_search_next", search, value);
}

DWORD support_registry_search_close(HANDLE search) noexcept {
    return Call<DWORD(HANDLE)>("support_registry_search_close", search);
}

DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) noexcept {
    return Call<DWORD(HANDLE, DWORD*, wchar_t*)>("support_registry_value_name", value, length, buffer);
}

DWORD support_registry_find(const wchar_t* path, HANDLE* value) noexcept {
    return Call<DWORD(const wchar_t*, HANDLE*)>("support_registry_find", path, value);
}

DWORD support_registry_value_long(HANDLE value, LONG* number) noexcept {
    return Call<DWORD(HANDLE, LONG*)>("support_registry_value_long", value, number);
}

DWORD support_registry_value_free(HANDLE value) noexcept {
    return Call<DWORD(HANDLE)>("support_registry_value_free", value);
}

DWORD supsys_register_all(ReaderRegistration* registration) noexcept {
    return Call<DWORD(ReaderRegistration*)>("supsys_register_all", registration);
}

DWORD supsys_unregister_all(ReaderRegistration* registration, DWORD final) noexcept {
    return Call<DWORD(ReaderRegistration*, DWORD)>("supsys_unregister_all", registration, final);
}

DWORD supsys_find_open(ReaderRegistration* registration, HANDLE* search) noexcept {
    return Call<DWORD(ReaderRegistration*, HANDLE*)>("supsys_find_open", registration, search);
}

DWORD supsys_find_next(HANDLE search, HANDLE* reader) noexcept {
    return Call<DWORD(HANDLE, HANDLE*)>("supsys_find_next", search, reader);
}

DWORD supsys_find_close(HANDLE search) noexcept {
    return Call<DWORD(HANDLE)>("supsys_find_close", search);
}

DWORD supsys_context_free(HANDLE reader) noexcept {
    return Call<DWORD(HANDLE)>("supsys_context_free", reader);
}

DWORD supsys_nickname(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<DWORD(HANDLE, DWORD*, wchar_t*)>("supsys_nickname", reader, length, buffer);
}

DWORD supsys_connect_current(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<DWORD(HANDLE, DWORD*, wchar_t*)>("supsys_connect_current", reader, length, buffer);
}

DWORD supsys_register_name(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<DWORD(HANDLE, DWORD*, wchar_t*)>("supsys_register_name", reader, length, buffer);
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

LONG FindLong(const wchar_t* path, LONG missing) noexcept {
    UniqueSupportValue value;
    LONG number = missing;
    if (support_registry_find(path, value.put()) != 0) return missing;
    return support_registry_value_long(value.get(), &number) == 0 ? number : missing;
}
