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
    return Call<decltype(support_resource_string)>(__func__, module, id, buffer, length);
}

DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length) noexcept {
    return Call<decltype(support_resource_version_string)>(__func__, name, module, buffer, length);
}

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) noexcept {
    return Call<decltype(support_registry_get_string)>(__func__, path, length, buffer);
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) noexcept {
    return Call<decltype(support_registry_put_string)>(__func__, path, text);
}

DWORD support_registry_get_long(const wchar_t* path, LONG* value) noexcept {
    return Call<decltype(support_registry_get_long)>(__func__, path, value);
}

DWORD support_registry_put_long(const wchar_t* path, LONG value) noexcept {
    return Call<decltype(support_registry_put_long)>(__func__, path, value);
}

DWORD support_registry_get_bool(const wchar_t* path, BOOL* value) noexcept {
    return Call<decltype(support_registry_get_bool)>(__func__, path, value);
}

DWORD support_registry_put_bool(const wchar_t* path, BOOL value) noexcept {
    return Call<decltype(support_registry_put_bool)>(__func__, path, value);
}

DWORD support_registry_put_section(const wchar_t* path) noexcept {
    // The function is declared with a second argument, which is always 0.
    return Call<DWORD(const wchar_t*, DWORD)>(__func__, path, DWORD{0});
}

DWORD support_registry_delete_param(const wchar_t* path) noexcept {
    return Call<decltype(support_registry_delete_param)>(__func__, path);
}

DWORD support_registry_delete_section(const wchar_t* path) noexcept {
    return Call<DWORD(const wchar_t*, DWORD)>(__func__, path, DWORD{0});
}

DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) noexcept {
    return Call<decltype(support_registry_check_access)>(__func__, path, rights);
}

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) noexcept {
    return Call<decltype(support_registry_search_open)>(__func__, path, search);
}

DWORD support_registry_search_next(HANDLE search, HANDLE* value) noexcept {
    return Call<decltype(support_registry_search_next)>(__func__, search, value);
}

DWORD support_registry_search_close(HANDLE search) noexcept {
    return Call<decltype(support_registry_search_close)>(__func__, search);
}

DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) noexcept {
    return Call<decltype(support_registry_value_name)>(__func__, value, length, buffer);
}

DWORD support_registry_find(const wchar_t* path, HANDLE* value) noexcept {
    return Call<decltype(support_registry_find)>(__func__, path, value);
}

DWORD support_registry_value_long(HANDLE value, LONG* number) noexcept {
    return Call<decltype(support_registry_value_long)>(__func__, value, number);
}

DWORD support_registry_value_free(HANDLE value) noexcept {
    return Call<decltype(support_registry_value_free)>(__func__, value);
}

DWORD supsys_register_all(ReaderRegistration* registration) noexcept {
    return Call<decltype(supsys_register_all)>(__func__, registration);
}

DWORD supsys_unregister_all(ReaderRegistration* registration, DWORD final) noexcept {
    return Call<decltype(supsys_unregister_all)>(__func__, registration, final);
}

DWORD supsys_find_open(ReaderRegistration* registration, HANDLE* search) noexcept {
    return Call<decltype(supsys_find_open)>(__func__, registration, search);
}

DWORD supsys_find_next(HANDLE search, HANDLE* reader) noexcept {
    return Call<decltype(supsys_find_next)>(__func__, search, reader);
}

DWORD supsys_find_close(HANDLE search) noexcept {
    return Call<decltype(supsys_find_close)>(__func__, search);
}

DWORD supsys_context_free(HANDLE reader) noexcept {
    return Call<decltype(supsys_context_free)>(__func__, reader);
}

DWORD supsys_nickname(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<decltype(supsys_nickname)>(__func__, reader, length, buffer);
}

DWORD supsys_connect_current(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<decltype(supsys_connect_current)>(__func__, reader, length, buffer);
}

DWORD supsys_register_name(HANDLE reader, DWORD* length, wchar_t* buffer) noexcept {
    return Call<decltype(supsys_register_name)>(__func__, reader, length, buffer);
}

DWORD support_wnd_language_get() noexcept {
    return Call<decltype(support_wnd_language_get)>(__func__);
}
DWORD support_wnd_language_update() noexcept {
    return Call<decltype(support_wnd_language_update)>(__func__);
}
DWORD support_wnd_language_done() noexcept {
    return Call<decltype(support_wnd_language_done)>(__func__);
}

bool MayWrite(const wchar_t* path) noexcept {
    DWORD rights = kRightWrite;
    return support_registry_check_access(path, &rights) == 0 && (rights & kRightWrite) != 0;
}

DWORD RemoveParameter(const wchar_t* path) noexcept {
    const DWORD removed = support_registry_delete_param(path);
    if (removed == 0) return 0;
    UniqueSupportValue value;
    return support_registry_find(path, value.put()) == 0 ? removed : 0;
}

LONG FindLong(const wchar_t* path, LONG missing) noexcept {
    UniqueSupportValue value;
    LONG number = missing;
    if (support_registry_find(path, value.put()) != 0) return missing;
    return support_registry_value_long(value.get(), &number) == 0 ? number : missing;
}
