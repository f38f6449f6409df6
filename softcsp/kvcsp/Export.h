// What every function that the system calls has in common.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <memory>
#include <new>
#include <utility>

#include "softcsp/common/CallRecord.h"
#include "softcsp/kvcsp/Context.h"
#include "softcsp/kvcsp/Values.h"

namespace softcsp {

// Runs the body of an export, which gives a code; turns it into the answer that CryptoAPI wants. Nothing is thrown
// through it.
template <class Body>
BOOL Answer(ProviderEntry entry, Body&& body) noexcept {
    DWORD result = Code(NTE_FAIL);
    try {
        CountCall(entry);
        result = std::forward<Body>(body)();
    } catch (const std::bad_alloc&) {
        result = Code(NTE_NO_MEMORY);
    } catch (...) {
    }
    if (result == ERROR_SUCCESS) return TRUE;
    SetLastError(result);
    return FALSE;
}

// The same with the context that the handle stands for, which is the caller's alone meanwhile.
template <class Body>
BOOL AnswerIn(ProviderEntry entry, HCRYPTPROV provider, Body&& body) noexcept {
    return Answer(entry, [&]() -> DWORD {
        const auto context = OpenContexts().Find(provider);
        if (!context) return Code(NTE_BAD_UID);
        const Mutex::Held held(context->Lock());
        return body(*context);
    });
}

}  // namespace softcsp
