// Activation contexts: which versions of side-by-side libraries (common controls 6 above all) are bound to.
#pragma once

#include <windows.h>

#include "framework/Handles.h"

// The context of the manifest that `module` carries as resource `manifestId`; none when it has no usable one.
UniqueActivationContext CreateModuleContext(HMODULE module, WORD manifestId) noexcept;

// Activates a context for the calling thread, until the scope ends. INVALID_HANDLE_VALUE (none) changes nothing.
class ActivationScope {
  public:
    explicit ActivationScope(HANDLE context) noexcept;
    ~ActivationScope();
    ActivationScope(const ActivationScope&) = delete;
    ActivationScope& operator=(const ActivationScope&) = delete;

  private:
    ULONG_PTR cookie_ = 0;
    bool active_ = false;
};
