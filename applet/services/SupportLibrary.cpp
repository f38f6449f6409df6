#include "applet/services/SupportLibrary.h"

#include "applet/services/ProcessCaches.h"

ProductLibrary& SupportLibrary() noexcept {
    return Caches().support;
}

DWORD support_registry_put_section(const wchar_t* path) noexcept {
    return SupportFunction<"support_registry_put_section", DWORD(const wchar_t*, DWORD)>()(path, 0);
}
DWORD support_registry_delete_section(const wchar_t* path) noexcept {
    return SupportFunction<"support_registry_delete_section", DWORD(const wchar_t*, DWORD)>()(path, 0);
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
