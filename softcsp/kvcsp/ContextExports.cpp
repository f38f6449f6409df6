// Exports: contexts, their parameters, random bytes.
#include "softcsp/crypto/Random.h"
#include "softcsp/kvcsp/Export.h"
#include "softcsp/kvcsp/ProviderInterface.h"

using namespace softcsp;

BOOL WINAPI CPAcquireContext(HCRYPTPROV* provider, LPSTR container, DWORD flags, ProviderTable* table) {
    return Answer(ProviderEntry::AcquireContext, [=]() -> DWORD {
        if (provider == nullptr || table == nullptr) return ERROR_INVALID_PARAMETER;
        std::shared_ptr<Context> context;
        if (const DWORD result = Context::Open(container, flags, *table, context)) return result;
        *provider = context ? OpenContexts().Add(std::move(context)) : 0;
        return ERROR_SUCCESS;
    });
}

BOOL WINAPI CPReleaseContext(HCRYPTPROV provider, DWORD flags) {
    return Answer(ProviderEntry::ReleaseContext, [=]() -> DWORD {
        // The context goes even when the flags are wrong.
        if (!OpenContexts().Remove(provider)) return Code(NTE_BAD_UID);
        return flags == 0 ? ERROR_SUCCESS : Code(NTE_BAD_FLAGS);
    });
}

BOOL WINAPI CPGetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD* size, DWORD flags) {
    return AnswerIn(ProviderEntry::GetProvParam, provider,
                    [=](Context& context) { return context.GetParameter(parameter, data, size, flags); });
}

BOOL WINAPI CPSetProvParam(HCRYPTPROV provider, DWORD parameter, BYTE* data, DWORD flags) {
    return AnswerIn(ProviderEntry::SetProvParam, provider,
                    [=](Context& context) { return context.SetParameter(parameter, data, flags); });
}

BOOL WINAPI CPGenRandom(HCRYPTPROV provider, DWORD size, BYTE* data) {
    return AnswerIn(ProviderEntry::GenRandom, provider, [=](Context&) -> DWORD {
        if (data == nullptr) return ERROR_INVALID_PARAMETER;
        return FillRandom({data, size}) ? ERROR_SUCCESS : Code(NTE_FAIL);
    });
}
