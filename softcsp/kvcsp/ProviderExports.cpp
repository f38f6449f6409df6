// Exports: contexts, their parameters, random bytes.
#include "softcsp/kvcsp/Context.h"
#include "softcsp/kvcsp/Export.h"
#include "softcsp/kvcsp/ProviderInterface.h"

#include <ntsecapi.h>

namespace {

using softcsp::Answer;
using softcsp::Context;
using softcsp::ContextTable;

constexpr auto kBadHandle = static_cast<DWORD>(NTE_BAD_UID);

}  // namespace

BOOL WINAPI CPAcquireContext(HCRYPTPROV* provider, LPSTR container, DWORD flags, softcsp::ProviderTable* table) {
    return Answer([=]() -> DWORD {
        if (provider == nullptr || table == nullptr) return ERROR_INVALID_PARAMETER;
        std::shared_ptr<Context> context;
        if (const DWORD result = Context::Open(container, flags, *table, context)) return result;
        *provider = ContextTable::Instance().Add(std::move(context));
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV provider, DWORD flags) {
    return Answer([=]() -> DWORD {
        // The context goes even when the flags are wrong.
        if (!ContextTable::Instance().Remove(provider)) return kBadHandle;
        return flags == 0 ? ERROR_SUCCESS : static_cast<DWORD>(NTE_BAD_FLAGS);
    });
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    return Answer([=]() -> DWORD {
        const auto context = ContextTable::Instance().Find(provider);
        return context != nullptr ? context->Parameter(parameter, data, size, flags) : kBadHandle;
    });
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV provider, DWORD, BYTE*, DWORD) {
    return Answer([=]() -> DWORD {
        return ContextTable::Instance().Find(provider) ? static_cast<DWORD>(NTE_BAD_TYPE) : kBadHandle;
    });
}

BOOL WINAPI CPGenRandom(HCRYPTPROV provider, DWORD size, BYTE* data) {
    return Answer([=]() -> DWORD {
        if (!ContextTable::Instance().Find(provider)) return kBadHandle;
        if (data == nullptr) return ERROR_INVALID_PARAMETER;
        return RtlGenRandom(data, size) ? ERROR_SUCCESS : static_cast<DWORD>(NTE_FAIL);
    });
}
