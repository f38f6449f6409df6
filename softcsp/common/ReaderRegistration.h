// What `context` of a SUPSYS_REGISTRATION (kvsuprt.h) points to. rdr_register_start of kvrdr.dll makes it and
// supsys_unregister_all of kvsuprt.dll takes it back, so it lies on the process's heap, not on a library's own.
#pragma once

#include <windows.h>

namespace softcsp {

struct ReaderRegistration {
    static constexpr DWORD kMark = 0x47455252;

    DWORD mark = 0;           // kMark while it lives
    BOOL registered = FALSE;  // whether a search finds readers

    // nullptr without memory.
    static ReaderRegistration* Make() {
        auto* made =
            static_cast<ReaderRegistration*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(ReaderRegistration)));
        if (made != nullptr) made->mark = kMark;
        return made;
    }
    static void Free(ReaderRegistration* made) {
        SecureZeroMemory(made, sizeof *made);  // a copy of the pointer is worth nothing any more
        HeapFree(GetProcessHeap(), 0, made);
    }
};

}  // namespace softcsp
