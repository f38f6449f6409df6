// Exports: the readers, which are the registry and the removable carriers that are inserted.
#include "softcsp/kvsuprt.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/ExportGuard.h"
#include "softcsp/dialogs/resource.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // the linker's name for the start of this library

namespace {

using softcsp::Carrier;
using softcsp::GiveText;
using softcsp::Guarded;
using softcsp::ReaderRegistration;

// The target of handles. The mark distinguishes a search from a reader, and an open handle from a closed one as long
// as its memory is not reused.
template <DWORD kMark, class Content>
struct Handle {
    explicit Handle(Content&& held) : content(std::move(held)) {}
    ~Handle() { SecureZeroMemory(&mark, sizeof mark); }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;

    static Handle* From(HANDLE handle) {
        auto* known = static_cast<Handle*>(handle);
        return known != nullptr && known->mark == kMark ? known : nullptr;
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

DWORD Find(const SUPSYS_REGISTRATION* registration, ReaderRegistration*& context) {
    if (registration == nullptr || registration->size != sizeof *registration) return ERROR_INVALID_PARAMETER;
    auto* given = static_cast<ReaderRegistration*>(registration->context);
    if (given == nullptr || given->mark != ReaderRegistration::kMark) return ERROR_INVALID_HANDLE;
    context = given;
    return ERROR_SUCCESS;
}

std::wstring OwnString(UINT id) {
    const auto module = reinterpret_cast<HINSTANCE>(&__ImageBase);
    DWORD length = 0;
    if (support_resource_string(module, id, nullptr, &length) != ERROR_SUCCESS) return {};
    std::wstring text(length, L'\0');  // std::wstring has room for the terminator
    return support_resource_string(module, id, text.data(), &length) == ERROR_SUCCESS ? text : std::wstring();
}

std::wstring ShownName(const Carrier& carrier) {
    if (!carrier.removable) return OwnString(IDS_READER_REGISTRY);
    return OwnString(IDS_READER_DISK) + L' ' + carrier.name;
}

// One text of a reader.
template <class Text>
DWORD GiveTextOf(HANDLE handle, DWORD* length, wchar_t* buffer, Text text) {
    return Guarded([=]() -> DWORD {
        const Reader* reader = Reader::From(handle);
        return reader != nullptr ? GiveText(text(reader->content), buffer, length) : ERROR_INVALID_HANDLE;
    });
}

}  // namespace

DWORD supsys_register_all(SUPSYS_REGISTRATION* registration) {
    ReaderRegistration* context = nullptr;
    if (const DWORD result = Find(registration, context)) return result;
    context->registered = TRUE;
    return ERROR_SUCCESS;
}

DWORD supsys_unregister_all(SUPSYS_REGISTRATION* registration, DWORD final) {
    ReaderRegistration* context = nullptr;
    if (const DWORD result = Find(registration, context)) return result;
    context->registered = FALSE;
    if (final != 0) {
        registration->context = nullptr;
        ReaderRegistration::Remove(context);
    }
    return ERROR_SUCCESS;
}

DWORD supsys_find_open(SUPSYS_REGISTRATION* registration, HANDLE* search) {
    return Guarded([=]() -> DWORD {
        ReaderRegistration* context = nullptr;
        if (const DWORD result = Find(registration, context)) return result;
        if (search == nullptr) return ERROR_INVALID_PARAMETER;
        Found found;
        if (context->registered) found.carriers = softcsp::Carriers();
        std::erase_if(found.carriers, [](const Carrier& carrier) { return !carrier.present; });
        *search = new Search(std::move(found));
        return ERROR_SUCCESS;
    });
}

DWORD supsys_find_next(HANDLE search, HANDLE* reader) {
    return Guarded([=]() -> DWORD {
        Search* open = Search::From(search);
        if (open == nullptr) return ERROR_INVALID_HANDLE;
        if (reader == nullptr) return ERROR_INVALID_PARAMETER;
        auto& [carriers, next] = open->content;
        if (next == carriers.size()) return ERROR_NO_MORE_ITEMS;
        *reader = new Reader(Carrier(carriers[next]));
        ++next;
        return ERROR_SUCCESS;
    });
}

DWORD supsys_find_close(HANDLE search) {
    const std::unique_ptr<Search> closed(Search::From(search));
    return closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
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
    return GiveTextOf(reader, length, buffer, &ShownName);
}

DWORD supsys_context_free(HANDLE reader) {
    const std::unique_ptr<Reader> freed(Reader::From(reader));
    return freed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}
