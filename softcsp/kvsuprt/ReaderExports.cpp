// Exports: the readers, which are the registry and the removable carriers that are inserted.
#include "softcsp/kvsuprt.h"

#include <string>
#include <utility>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Resources.h"
#include "softcsp/dialogs/resource.h"

using namespace softcsp;

namespace {

// The target of handles. The mark distinguishes a search from a reader, and an open handle from a closed one as long
// as its memory is not reused.
template <DWORD kMark, class Content>
struct Handle {
    explicit Handle(Content&& held) : content(std::move(held)) {}
    ~Handle() { SecureZeroMemory(&mark, sizeof mark); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    static Handle& From(HANDLE handle) {
        auto* known = static_cast<Handle*>(handle);
        Require(known != nullptr && known->mark == kMark, ERROR_INVALID_HANDLE);
        return *known;
    }

    DWORD mark = kMark;
    Content content;
};

struct Found {
    std::vector<Carrier> carriers;  // as they were when the search was opened
    std::size_t next = 0;
};
using Search = Handle<0x48435253, Found>;
using Reader = Handle<0x52444552, Carrier>;

ReaderRegistration& ContextOf(const SUPSYS_REGISTRATION* registration) {
    Require(registration != nullptr && registration->size == sizeof *registration, ERROR_INVALID_PARAMETER);
    auto* context = static_cast<ReaderRegistration*>(registration->context);
    Require(context != nullptr && context->mark == ReaderRegistration::kMark, ERROR_INVALID_HANDLE);
    return *context;
}

// One text of a reader.
template <class Text>
DWORD GiveTextOf(HANDLE handle, DWORD* length, wchar_t* buffer, Text text) {
    return Guarded([=] { GiveText(text(Reader::From(handle).content), buffer, length); });
}

}  // namespace

DWORD supsys_register_all(SUPSYS_REGISTRATION* registration) {
    return Guarded([=] { ContextOf(registration).registered = TRUE; });
}

DWORD supsys_unregister_all(SUPSYS_REGISTRATION* registration, DWORD final) {
    return Guarded([=] {
        ReaderRegistration& context = ContextOf(registration);
        context.registered = FALSE;
        if (final == 0) return;
        registration->context = nullptr;
        ReaderRegistration::Remove(&context);
    });
}

DWORD supsys_find_open(SUPSYS_REGISTRATION* registration, HANDLE* search) {
    return Guarded([=] {
        const ReaderRegistration& context = ContextOf(registration);
        Require(search != nullptr, ERROR_INVALID_PARAMETER);
        Found found;
        if (context.registered) found.carriers = Carriers();
        std::erase_if(found.carriers, [](const Carrier& carrier) { return !carrier.present; });
        *search = new Search(std::move(found));
    });
}

DWORD supsys_find_next(HANDLE search, HANDLE* reader) {
    return Guarded([=] {
        auto& [carriers, next] = Search::From(search).content;
        Require(reader != nullptr, ERROR_INVALID_PARAMETER);
        Require(next < carriers.size(), ERROR_NO_MORE_ITEMS);
        *reader = new Reader(Carrier(carriers[next]));
        ++next;
    });
}

DWORD supsys_find_close(HANDLE search) {
    return Guarded([=] { delete &Search::From(search); });
}

DWORD supsys_nickname(HANDLE reader, DWORD* length, wchar_t* buffer) {
    return GiveTextOf(reader, length, buffer,
                      [](const Carrier& carrier) { return std::wstring(carrier.removable ? L"DISK" : L"REGISTRY"); });
}

DWORD supsys_connect_current(HANDLE reader, DWORD* length, wchar_t* buffer) {
    return GiveTextOf(reader, length, buffer,
                      [](const Carrier& carrier) { return carrier.removable ? carrier.name : std::wstring(); });
}

DWORD supsys_register_name(HANDLE reader, DWORD* length, wchar_t* buffer) {
    return GiveTextOf(reader, length, buffer, [](const Carrier& carrier) {
        return carrier.removable ? OwnString(IDS_READER_DISK) + L' ' + carrier.name : OwnString(IDS_READER_REGISTRY);
    });
}

DWORD supsys_context_free(HANDLE reader) {
    return Guarded([=] { delete &Reader::From(reader); });
}
