// Exports: the configuration store.
#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Store.h"
#include "softcsp/kvsuprt.h"

using namespace softcsp;

namespace {

static_assert(kRightRead == SUPPORT_RIGHT_READ && kRightWrite == SUPPORT_RIGHT_WRITE &&
              kRightRemove == SUPPORT_RIGHT_REMOVE);

// The target of a search handle.
struct Search {
    std::vector<StoreValue> entries;
    std::size_t next = 0;
};

StoreValue FindValue(const wchar_t* path) {
    StoreValue value;
    Check(Store().Find(path, value));
    return value;
}

DWORD NumberOf(const StoreValue& value) {
    DWORD number = 0;
    Check(value.data.Number(number));
    return number;
}

// The object of a handle.
template <class Object>
Object& At(HANDLE handle) {
    Require(handle != nullptr, ERROR_INVALID_HANDLE);
    return *static_cast<Object*>(handle);
}

template <class Object>
DWORD Free(HANDLE handle) {
    return Guarded([=] { delete &At<Object>(handle); });
}

void RequireOutput(const void* output) {
    Require(output != nullptr, ERROR_INVALID_PARAMETER);
}

}  // namespace

DWORD support_registry_get_string(const wchar_t* path, DWORD* length, wchar_t* buffer) {
    return Guarded([=] {
        std::wstring text;
        Check(FindValue(path).data.Text(text));
        GiveText(text, buffer, length);
    });
}

DWORD support_registry_put_string(const wchar_t* path, const wchar_t* text) {
    return Guarded([=] {
        RequireOutput(text);
        return Store().WriteText(path, text);
    });
}

DWORD support_registry_get_long(const wchar_t* path, LONG* number) {
    return Guarded([=] {
        RequireOutput(number);
        *number = static_cast<LONG>(NumberOf(FindValue(path)));
    });
}

DWORD support_registry_put_long(const wchar_t* path, LONG number) {
    return Guarded([=] { return Store().WriteNumber(path, static_cast<DWORD>(number)); });
}

DWORD support_registry_get_bool(const wchar_t* path, BOOL* flag) {
    return Guarded([=] {
        RequireOutput(flag);
        *flag = NumberOf(FindValue(path)) != 0;
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
    return Guarded([=] {
        DWORD granted = 0;
        RequireOutput(rights);
        Check(Store().Granted(path, granted));
        *rights &= granted;
    });
}

DWORD support_registry_search_open(const wchar_t* path, HANDLE* search) {
    return Guarded([=] {
        Search opened;
        RequireOutput(search);
        Check(Store().List(path, opened.entries));
        *search = new Search(std::move(opened));
    });
}

DWORD support_registry_search_next(HANDLE search, HANDLE* value) {
    return Guarded([=] {
        auto& [entries, next] = At<Search>(search);
        RequireOutput(value);
        Require(next < entries.size(), ERROR_NO_MORE_ITEMS);
        *value = new StoreValue(entries[next]);
        ++next;
    });
}

DWORD support_registry_search_close(HANDLE search) {
    return Free<Search>(search);
}

DWORD support_registry_find(const wchar_t* path, HANDLE* value) {
    return Guarded([=] {
        RequireOutput(value);
        *value = new StoreValue(FindValue(path));
    });
}

DWORD support_registry_value_long(HANDLE value, LONG* number) {
    return Guarded([=] {
        const auto& stored = At<StoreValue>(value);
        RequireOutput(number);
        *number = static_cast<LONG>(NumberOf(stored));
    });
}

DWORD support_registry_value_name(HANDLE value, DWORD* length, wchar_t* buffer) {
    return Guarded([=] { GiveText(At<StoreValue>(value).name, buffer, length); });
}

DWORD support_registry_value_free(HANDLE value) {
    return Free<StoreValue>(value);
}
