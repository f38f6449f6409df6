// The module that contains this code, found by an address inside it, and its activation context.
#pragma once

#include <windows.h>

#include <span>
#include <string>

#include "framework/Handles.h"

namespace Module {

// The module's instance handle, for resources and windows; its reference count is not changed.
HINSTANCE Instance() noexcept;

// The full path of the module's file, as it was loaded or with long names; empty on failure and when it is longer than
// 259 characters.
std::wstring FileName();
std::wstring LongFileName();

// The resource's bytes in exactly this language, valid as long as the module is loaded; empty when there is none.
std::span<const BYTE> Resource(UINT type, UINT id, WORD language) noexcept;

// The module's activation context: the one that the loader created for it, else one created from its own manifest;
// INVALID_HANDLE_VALUE when it has neither. It is looked up once and kept until the module is unloaded.
HANDLE ActivationContext() noexcept;

}  // namespace Module

// Activation contexts select the versions of side-by-side libraries (above all common controls 6).

// The resource id of a library's own manifest.
constexpr WORD kLibraryManifestId = 2;

// The context of the manifest that `module` carries as resource `manifestId`; empty when it has no usable one.
UniqueActivationContext CreateModuleContext(HMODULE module, WORD manifestId) noexcept;

// Activates a context for the calling thread, until the scope ends. INVALID_HANDLE_VALUE (none) changes nothing.
class ActivationScope : NonCopyable {
  public:
    explicit ActivationScope(HANDLE context) noexcept;
    ~ActivationScope();

  private:
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
};
