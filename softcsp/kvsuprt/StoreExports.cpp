// Exports: the configuration store.
#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Store.h"
#include "softcsp/kvsuprt.h"

namespace {

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

// Reads a number into an output of another type.
template <class Number, class Convert>
DWORD ReadNumber(const StoreValue& value, Number* output, Convert&& convert) {
    DWORD number = 0;
    const DWORD result = value.data.Number(number);
    if (result == ERROR_SUCCESS) *output = convert(number);
    return result;
}

template <class Number, class Convert>
DWORD FindNumber(const wchar_t* path, Number* output, Convert&& convert) {
    return Guarded([&]() -> DWORD {
        StoreValue value;
        if (output == nullptr) return ERROR_INVALID_PARAMETER;
        const DWORD result = Store().Find(path, value);
        return result != ERROR_SUCCESS ? result : ReadNumber(value, output, convert);
    });
}

LONG Signed(DWORD number) {
    return static_cast<LONG>(number);
}

template <class Object>
DWORD Free(HANDLE handle) {
    if (handle == nullptr) return ERROR_INVALID_HANDLE;
    delete static_cast<Object*>(handle);
    return ERROR_SUCCESS;
}

}  // namespace

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) {
    return Guarded([=] {
        StoreValue value;
        std::wstring text;
        if (const DWORD result = Store().Find(path, value)) return result;
        if (const DWORD result = value.data.Text(text)) return result;
        return softcsp::GiveText(text, buffer, length);
    });
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) {
    return Guarded([=] { return text != nullptr ? Store().WriteText(path, text) : ERROR_INVALID_PARAMETER; });
}

DWORD support_registry_get_long(const wchar_t* path, LONG* number) {
    return FindNumber(path, number, Signed);
}

DWORD support_registry_put_long(const wchar_t* path, LONG number) {
    return Guarded([=] { return Store().WriteNumber(path, static_cast<DWORD>(number)); });
}

DWORD support_registry_get_bool(const wchar_t* path, BOOL* flag) {
    return FindNumber(path, flag, [](DWORD number) { return BOOL{number != 0}; });
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
        DWORD granted = 0;
        if (rights == nullptr) return ERROR_INVALID_PARAMETER;
        const DWORD result = Store().Granted(path, granted);
        if (result == ERROR_SUCCESS) *rights &= granted;
        return result;
    });
}

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) {
    return Guarded([=]() -> DWORD {
        Search opened;
        if (search == nullptr) return ERROR_INVALID_PARAMETER;
        const DWORD result = Store().List(path, opened.entries);
        if (result == ERROR_SUCCESS) *search = new Search(std::move(opened));
        return result;
    });
}

DWORD support_registry_search_next(HANDLE search, HANDLE* value) {
    return Guarded([=]() -> DWORD {
        auto* opened = static_cast<Search*>(search);
        if (opened == nullptr) return ERROR_INVALID_HANDLE;
        if (value == nullptr) return ERROR_INVALID_PARAMETER;
        if (opened->next == opened->entries.size()) return ERROR_NO_MORE_ITEMS;
        *value = new StoreValue(opened->entries[opened->next]);
        ++opened->next;
        return ERROR_SUCCESS;
    });
}

DWORD support_registry_search_close(HANDLE search) {
    return Free<Search>(search);
}

DWORD support_registry_find(const wchar_t* path, HANDLE* value) {
    return Guarded([=]() -> DWORD {
        StoreValue found;
        if (value == nullptr) return ERROR_INVALID_PARAMETER;
        const DWORD result = Store().Find(path, found);
        if (result == ERROR_SUCCESS) *value = new StoreValue(std::move(found));
        return result;
    });
}

DWORD support_registry_value_long(HANDLE value, LONG* number) {
    if (value == nullptr) return ERROR_INVALID_HANDLE;
    return number != nullptr ? ReadNumber(*static_cast<StoreValue*>(value), number, Signed) : ERROR_INVALID_PARAMETER;
}

DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) {
    if (value == nullptr) return ERROR_INVALID_HANDLE;
    return softcsp::GiveText(static_cast<const StoreValue*>(value)->name, buffer, length);
}

DWORD support_registry_value_free(HANDLE value) {
    return Free<StoreValue>(value);
}
