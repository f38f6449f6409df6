#include "applet/services/ErrorText.h"

#include <algorithm>
#include <cwchar>

#include "applet/services/ProcessCaches.h"
#include "applet/services/Strings.h"
#include "framework/Module.h"
#include "framework/Text.h"
#include "resources/resource.h"

namespace {

constexpr size_t kLongestText = 1023;
constexpr DWORD kMessageQueueFacility = 14;
constexpr DWORD kTimeStampFacility = 528;
constexpr DWORD kCertificateStatusFacility = 529;
constexpr DWORD kWin32Facility = 7;
constexpr DWORD kFirstNetworkCode = 2100, kLastNetworkCode = 2999;
constexpr DWORD kFirstDirectoryCode = 0x80005000, kLastDirectoryCode = 0x80005FFF;

constexpr DWORD Facility(DWORD code) {
    return (code >> 16) & 0x1FFF;
}

// Libraries of the product are loaded with the activation context of this module, or of the signature library.
HMODULE LoadedProductModule(const wchar_t* name) {
    {
        const ActivationScope own(Module::ActivationContext());
        if (const HMODULE module = GetModuleHandleW(name)) return module;
    }
    const HANDLE context = Caches().SignatureLibraryContext();
    if (context == INVALID_HANDLE_VALUE) return nullptr;
    const ActivationScope signature(context);
    return GetModuleHandleW(name);
}

HMODULE MessageModule(DWORD code) {
    HMODULE module = nullptr;
    switch (Facility(code)) {
        case kMessageQueueFacility: module = GetModuleHandleW(L"mqutil.dll"); break;
        case kTimeStampFacility: module = LoadedProductModule(L"kvstamp.dll"); break;
        case kCertificateStatusFacility: module = LoadedProductModule(L"kvstatus.dll"); break;
        default: break;
    }
    if (!module && LOWORD(code) >= kFirstNetworkCode && LOWORD(code) <= kLastNetworkCode) {
        module = GetModuleHandleW(L"NETMSG");
    }
    return module;
}

// The text that one source has for a code: in the language, otherwise in the language that the system chooses.
bool Describe(DWORD source, HMODULE module, DWORD code, LANGID language, std::wstring& text) {
    for (const DWORD tried : {DWORD{language}, DWORD{0}}) {
        wchar_t buffer[kLongestText + 1];
        const DWORD length = FormatMessageW(source | FORMAT_MESSAGE_IGNORE_INSERTS, module, code, tried, buffer,
                                            static_cast<DWORD>(std::size(buffer)), nullptr);
        if (length != 0) {
            text.assign(buffer, length);
            return true;
        }
        if (language == 0) break;
    }
    return false;
}

bool DescribeFrom(HMODULE module, DWORD code, LANGID language, std::wstring& text) {
    return module && Describe(FORMAT_MESSAGE_FROM_HMODULE, module, code, language, text);
}

bool DirectoryErrorName(DWORD code, std::wstring& text) {
    static constexpr const wchar_t* names[] = {
        L"E_ADS_BAD_PATHNAME",
        L"E_ADS_INVALID_DOMAIN_OBJECT",
        L"E_ADS_INVALID_USER_OBJECT",
        L"E_ADS_INVALID_COMPUTER_OBJECT",
        L"E_ADS_UNKNOWN_OBJECT",
        L"E_ADS_PROPERTY_NOT_SET",
        L"E_ADS_PROPERTY_NOT_SUPPORTED",
        L"E_ADS_PROPERTY_INVALID",
        L"E_ADS_BAD_PARAMETER",
        L"E_ADS_OBJECT_UNBOUND",
        L"E_ADS_PROPERTY_NOT_MODIFIED",
        L"E_ADS_PROPERTY_MODIFIED",
        L"E_ADS_CANT_CONVERT_DATATYPE",
        L"E_ADS_PROPERTY_NOT_FOUND",
        L"E_ADS_OBJECT_EXISTS",
        L"E_ADS_SCHEMA_VIOLATION",
        L"E_ADS_COLUMN_NOT_SET",
        nullptr,
        nullptr,
        nullptr,
        L"E_ADS_INVALID_FILTER",
    };
    if (code < kFirstDirectoryCode || code - kFirstDirectoryCode >= std::size(names)) return false;
    const wchar_t* name = names[code - kFirstDirectoryCode];
    if (name) text = name;
    return name != nullptr;
}

bool FindText(DWORD code, LANGID language, std::wstring& text) {
    return DescribeFrom(MessageModule(code), code, language, text) ||
           Describe(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, language, text) ||
           // This library numbers its messages without a facility.
           DescribeFrom(GetModuleHandleW(L"winhttp.dll"), LOWORD(code), language, text) ||
           DescribeFrom(GetModuleHandleW(L"ntdsbmsg.dll"), code, language, text) ||
           DescribeFrom(GetModuleHandleW(L"wininet.dll"), code, language, text) || DirectoryErrorName(code, text);
}

// The directory services' own description of the thread's last failure; empty when they have none.
std::wstring DirectoryDetail(bool found) {
    using GetLastDirectoryError = HRESULT(WINAPI*)(DWORD*, LPWSTR, DWORD, LPWSTR, DWORD);
    const HMODULE module = GetModuleHandleW(L"activeds.dll");
    if (!module) return {};
    const auto get =
        reinterpret_cast<GetLastDirectoryError>(reinterpret_cast<void*>(GetProcAddress(module, "ADsGetLastError")));
    if (!get) return {};
    DWORD error = 0;
    wchar_t text[256] = L"", provider[256] = L"";
    if (FAILED(get(&error, text, static_cast<DWORD>(std::size(text)), provider,
                   static_cast<DWORD>(std::size(provider)))) ||
        error == 0) {
        return {};
    }
    text[std::size(text) - 1] = provider[std::size(provider) - 1] = L'\0';
    constexpr size_t kLongestDetail = 260;
    return FillPlaces(found ? L" [%s, #%d (%s)]" : L"ADs [%s, #%d (%s)]", {provider, error, text})
        .substr(0, kLongestDetail);
}

}  // namespace

std::wstring ErrorText(DWORD code, LANGID language) {
    std::wstring text;
    const bool found = FindText(code, language, text);
    while (!text.empty() && (text.back() == L'\r' || text.back() == L'\n')) text.pop_back();
    if (Facility(code) == kWin32Facility || (code >= kFirstDirectoryCode && code <= kLastDirectoryCode)) {
        text += DirectoryDetail(found);
    }
    if (text.empty()) text = FillPlaces(L"Unknown error code (0x%08X)", {code});
    return text.substr(0, kLongestText);
}

std::wstring ErrorMessageText(DWORD code) {
    return FillPlaces(LoadStringLang(IDS_ERROR_CODE), {code, code}) + ErrorText(code, UserLanguage());
}
