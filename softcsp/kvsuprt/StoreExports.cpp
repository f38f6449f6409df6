// Exports: the configuration store.
#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Store.h"
#include "softcsp/kvsuprt.h"

namespace {

using softcsp::GiveText;
using softcsp::Guarded;
using softcsp::Store;
using softcsp::StoreValue;

static_assert(softcsp::kRightRead == SUPPORT_RIGHT_READ && softcsp::kRightWrite == SUPPORT_RIGHT_WRITE &&
              softcsp::kRightRemove == SUPPORT_RIGHT_REMOVE);

// The target of a search handle.
struct Search {
    std::vector<StoreValue> entries;
    std::size_t next = 0;
};

DWORD FindNumber(const wchar_t* path, DWORD& number) {
    StoreValue value;
    if (const DWORD result = Store().Find(path, value)) return result;
    return value.data.Number(number);
}

}  // namespace

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) {
    return Guarded([=] {
        StoreValue value;
        std::wstring text;
        if (const DWORD result = Store().Find(path, value)) return result;
        if (const DWORD result = value.data.Text(text)) return result;
        return GiveText(text, buffer, length);
    });
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) {
    return Guarded([=]() -> DWORD {
        if (text == nullptr) return ERROR_INVALID_PARAMETER;
        return Store().WriteText(path, text);
    });
}

DWORD support_registry_get_long(const wchar_t* path, LONG* number) {
    return Guarded([=]() -> DWORD {
        if (number == nullptr) return ERROR_INVALID_PARAMETER;
        DWORD found = 0;
        const DWORD result = FindNumber(path, found);
        if (result == ERROR_SUCCESS) *number = static_cast<LONG>(found);
        return result;
    });
}

DWORD support_registry_put_long(const wchar_t* path, LONG number) {
    return Guarded([=] { return Store().WriteNumber(path, static_cast<DWORD>(number)); });
}

DWORD support_registry_get_bool(const wchar_t* path, BOOL* flag) {
    return Guarded([=]() -> DWORD {
        if (flag == nullptr) return ERROR_INVALID_PARAMETER;
        DWORD found = 0;
        const DWORD result = FindNumber(path, found);
        if (result == ERROR_SUCCESS) *flag = found != 0;
        return result;
    });
}

DWORD support_registry_put_bool(const wchar_t* path, BOOL flag) {
    return Guarded([=] { return Store().WriteNumber(path, flag != FALSE); });
}

DWORD support_registry_delete_param(const wchar_t* path) {
    return Guarded([=] { return Store().RemoveParameter(path); });
}

DWORD support_registry_put_section(const wchar_t* path, DWORD) {
    return Guarded([=] { return Store().CreateSection(path); });
}

DWORD support_registry_delete_section(const wchar_t* path, DWORD) {
    return Guarded([=] { return Store().RemoveSection(path); });
}

DWORD support_registry_check_access(const wchar_t* path, DWORD* rights) {
    return Guarded([=]() -> DWORD {
        if (rights == nullptr) return ERROR_INVALID_PARAMETER;
        DWORD granted = 0;
        const DWORD result = Store().Granted(path, granted);
        if (result == ERROR_SUCCESS) *rights &= granted;
        return result;
    });
}

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) {
    return Guarded([=]() -> DWORD {
        if (search == nullptr) return ERROR_INVALID_PARAMETER;
        Search opened;
        if (const DWORD result = Store().List(path, opened.entries)) return result;
        *search = new Search(std::move(opened));
        return ERROR_SUCCESS;
    });
}

DWORD support_registry_search_next(HANDLE search, HANDLE* value) {
    return Guarded([=]() -> DWORD {
        if (search == nullptr) return ERROR_INVALID_HANDLE;
        if (value == nullptr) return ERROR_INVALID_PARAMETER;
        auto& opened = *static_cast<Search*>(search);
        if (opened.next == opened.entries.size()) return ERROR_NO_MORE_ITEMS;
        *value = new StoreValue(opened.entries[opened.next]);
        ++opened.next;
        return ERROR_SUCCESS;
    });
}

DWORD support_registry_search_close(HANDLE search) {
    if (search == nullptr) return ERROR_INVALID_HANDLE;
    delete static_cast<Search*>(search);
    return ERROR_SUCCESS;
}

DWORD support_registry_find(const wchar_t* path, HANDLE* value) {
    return Guarded([=]() -> DWORD {
        if (value == nullptr) return ERROR_INVALID_PARAMETER;
        StoreValue found;
        if (const DWORD result = Store().Find(path, found)) return result;
        *value = new StoreValue(std::move(found));
        return ERROR_SUCCESS;
    });
}

DWORD support_registry_value_long(HANDLE value, LONG* number) {
    if (value == nullptr) return ERROR_INVALID_HANDLE;
    if (number == nullptr) return ERROR_INVALID_PARAMETER;
    DWORD found = 0;
    const DWORD result = static_cast<const StoreValue*>(value)->data.Number(found);
    if (result == ERROR_SUCCESS) *number = static_cast<LONG>(found);
    return result;
}

DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) {
    if (value == nullptr) return ERROR_INVALID_HANDLE;
    return GiveText(static_cast<const StoreValue*>(value)->name, buffer, length);
}

DWORD support_registry_value_free(HANDLE value) {
    if (value == nullptr) return ERROR_INVALID_HANDLE;
    delete static_cast<StoreValue*>(value);
    return ERROR_SUCCESS;
}
