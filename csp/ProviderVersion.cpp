#include "csp/ProviderVersion.h"

#include <cwchar>

#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"

std::wstring ProtectionClassName(DWORD protectionClass) {
    static constexpr const wchar_t* names[] = {L"KC1", L"KC2", L"KC3", L"KB1", L"KB2", L"KA1"};
    if (protectionClass < 1 || protectionClass > std::size(names)) return {};
    return names[protectionClass - 1];
}

std::wstring CoreVersionText(const std::wstring& providerName) {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, providerName.c_str(), kProviderType75)) return {};
    const auto version = ReadParameter<DWORD>(context.Get(), PP_VERSION);
    const auto build = ReadParameter<BuildRecord>(context.Get(), kParameterBuild);
    if (!version || !build) return {};

    wchar_t number[40];
    std::swprintf(number, std::size(number), L"%u.%u.%04u ", unsigned{HIBYTE(LOWORD(*version))},
                  unsigned{LOBYTE(LOWORD(*version))}, unsigned{build->build});
    std::wstring text = number;
    text += ProtectionClassName(ReadParameter<DWORD>(context.Get(), kParameterProtectionClass).value_or(0));
    if (build->debug == 1) text += L" Debug";
    return text;
}

bool IsDefaultProviderIntercepted() noexcept {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, kProviderType75)) return false;
    const auto type = ReadParameter<DWORD>(context.Get(), PP_PROVTYPE);
    return type && *type != kProviderType75;
}
