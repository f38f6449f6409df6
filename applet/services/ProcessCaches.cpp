#include "applet/services/ProcessCaches.h"

#include "framework/Module.h"
#include "framework/SystemLibrary.h"

namespace {

constexpr WORD kHandCursorId = 108;  // of the common controls library

UniqueCursor CopyOfHandCursor() {
    wchar_t directory[MAX_PATH];
    const UINT length = GetWindowsDirectoryW(directory, static_cast<UINT>(std::size(directory)));
    if (length == 0 || length >= std::size(directory)) return {};
    const std::wstring path = std::wstring(directory) + L"\\System32\\comctl32.dll";
    const ActivationScope active(Module::ActivationContext());
    const UniqueModule library(LoadLibraryByPath(path.c_str()));
    const HCURSOR shared = library ? LoadCursorW(library.get(), MAKEINTRESOURCEW(kHandCursorId)) : nullptr;
    return UniqueCursor(shared ? CopyCursor(shared) : nullptr);
}

}  // namespace

HANDLE ProcessCaches::SignatureLibraryContext() noexcept {
    if (!signatureContext_) {
        if (const HMODULE library = GetModuleHandleW(L"kvsign.dll")) {
            signatureContext_ = CreateModuleContext(library, kLibraryManifestId);
        }
    }
    return signatureContext_.get();
}

HCURSOR ProcessCaches::HandCursor() noexcept {
    if (!handCursor_) {
        try {
            handCursor_ = CopyOfHandCursor();
        } catch (...) {
            handCursor_.emplace();
        }
    }
    return handCursor_->get();
}

ProcessCaches& Caches() noexcept {
    static ProcessCaches caches;
    return caches;
}
