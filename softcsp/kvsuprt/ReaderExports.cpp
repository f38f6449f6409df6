// Exports: the readers. There are none yet, so a search finds nothing, and no reader handle is ever given out.
#include "softcsp/kvsuprt.h"
#include "softcsp/kvsuprt/Export.h"

namespace {

DWORD Check(const SUPSYS_REGISTRATION* registration) {
    return registration != nullptr && registration->size == sizeof *registration ? ERROR_SUCCESS
                                                                                 : ERROR_INVALID_PARAMETER;
}

// What a search handle points to.
struct ReaderSearch {};

}  // namespace

DWORD supsys_register_all(SUPSYS_REGISTRATION* registration) {
    return Check(registration);
}

DWORD supsys_unregister_all(SUPSYS_REGISTRATION* registration, DWORD) {
    return Check(registration);
}

DWORD supsys_find_open(SUPSYS_REGISTRATION* registration, HANDLE* search) {
    return softcsp::Guarded([=]() -> DWORD {
        if (const DWORD result = Check(registration)) return result;
        if (search == nullptr) return ERROR_INVALID_PARAMETER;
        *search = new ReaderSearch;
        return ERROR_SUCCESS;
    });
}

DWORD supsys_find_next(HANDLE search, HANDLE*) {
    return search != nullptr ? ERROR_NO_MORE_ITEMS : ERROR_INVALID_HANDLE;
}

DWORD supsys_find_close(HANDLE search) {
    if (search == nullptr) return ERROR_INVALID_HANDLE;
    delete static_cast<ReaderSearch*>(search);
    return ERROR_SUCCESS;
}

DWORD supsys_nickname(HANDLE, DWORD*, wchar_t*) {
    return ERROR_INVALID_HANDLE;
}

DWORD supsys_connect_current(HANDLE, DWORD*, wchar_t*) {
    return ERROR_INVALID_HANDLE;
}

DWORD supsys_register_name(HANDLE, DWORD*, wchar_t*) {
    return ERROR_INVALID_HANDLE;
}

DWORD supsys_context_free(HANDLE) {
    return ERROR_INVALID_HANDLE;
}
