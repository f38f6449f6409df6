#include "framework/Module.h"

namespace Module {

namespace {

UniqueActivationContext LoaderContext() noexcept {
    ACTIVATION_CONTEXT_BASIC_INFORMATION information{};
    const BOOL found = QueryActCtxW(QUERY_ACTCTX_FLAG_ACTCTX_IS_ADDRESS, reinterpret_cast<HANDLE>(&Instance), nullptr,
                                    ActivationContextBasicInformation, &information, sizeof information, nullptr);
    if (found && information.hActCtx) return UniqueActivationContext(information.hActCtx);
    return CreateModuleContext(Instance(), kLibraryManifestId);
}

}  // namespace

HINSTANCE Instance() noexcept {
    HMODULE module = nullptr;
    if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           reinterpret_cast<LPCWSTR>(&Instance), &module)) {
        return module;
    }
    MEMORY_BASIC_INFORMATION memory{};  // an instance handle is the address where the module begins
    if (VirtualQuery(reinterpret_cast<LPCVOID>(&Instance), &memory, sizeof memory) == 0) return nullptr;
    return static_cast<HINSTANCE>(memory.AllocationBase);
}

std::wstring FileName() {
    wchar_t path[MAX_PATH];
    const DWORD length = GetModuleFileNameW(Instance(), path, static_cast<DWORD>(std::size(path)));
    if (length == 0 || length >= std::size(path)) return {};
    return path;
}

std::wstring LongFileName() {
    const std::wstring path = FileName();
    wchar_t longPath[MAX_PATH];
    const DWORD length =
        path.empty() ? 0 : GetLongPathNameW(path.c_str(), longPath, static_cast<DWORD>(std::size(longPath)));
    if (length == 0 || length >= std::size(longPath)) return {};
    return longPath;
}

std::span<const BYTE> Resource(UINT type, UINT id, WORD language) noexcept {
    const HINSTANCE module = Instance();
    const HRSRC place = FindResourceExW(module, MAKEINTRESOURCEW(type), MAKEINTRESOURCEW(id), language);
    if (!place) return {};
    const HGLOBAL loaded = LoadResource(module, place);
    const void* bytes = loaded ? LockResource(loaded) : nullptr;
    if (!bytes) return {};
    return {static_cast<const BYTE*>(bytes), SizeofResource(module, place)};
}

HANDLE ActivationContext() noexcept {
    static const UniqueActivationContext context = LoaderContext();
    return context.get();
}

}  // namespace Module

UniqueActivationContext CreateModuleContext(HMODULE module, WORD manifestId) noexcept {
    ACTCTXW request{};
    request.cbSize = sizeof request;
    request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    request.hModule = module;
    request.lpResourceName = MAKEINTRESOURCEW(manifestId);
    return UniqueActivationContext(CreateActCtxW(&request));
}

ActivationScope::ActivationScope(HANDLE context) noexcept {
    if (context != INVALID_HANDLE_VALUE) active_ = ActivateActCtx(context, &cookie_) != FALSE;
}

ActivationScope::~ActivationScope() {
    if (!active_) return;
    const LastErrorKeeper keeper;
    DeactivateActCtx(0, cookie_);
}
