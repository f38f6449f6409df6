#include "framework/ActivationContext.h"

UniqueActivationContext CreateModuleContext(HMODULE module, WORD manifestId) noexcept {
    ACTCTXW request{};
    request.cbSize = sizeof request;
    request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    request.hModule = module;
    request.lpResourceName = MAKEINTRESOURCEW(manifestId);
    return UniqueActivationContext(CreateActCtxW(&request));
}

ActivationScope::ActivationScope(HANDLE context) noexcept {
    if (context != ActivationContextPolicy::null()) active_ = ActivateActCtx(context, &cookie_) != FALSE;
}

ActivationScope::~ActivationScope() {
    if (!active_) return;
    const LastErrorKeeper keeper;
    DeactivateActCtx(0, cookie_);
}
