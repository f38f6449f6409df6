#include "tests/support/SystemFunctions.h"

#include <wincrypt.h>

namespace {

using enum Fails;
using namespace Owned;

constexpr char kAdvapi[] = "advapi32.dll", kCrypt[] = "crypt32.dll", kKernel[] = "kernel32.dll", kGdi[] = "gdi32.dll",
               kUser[] = "user32.dll";

constexpr DWORD Code(HRESULT code) {
    return static_cast<DWORD>(code);
}

// Codes that neither the code under test nor the system gives otherwise in these places, as far as there are such.
constexpr DWORD kFail = Code(NTE_FAIL), kBadKey = Code(NTE_BAD_KEY), kNoMemory = Code(NTE_NO_MEMORY);

constexpr SystemFunction kFunctions[] = {
    // Providers, keys, hashes
    {kAdvapi, "CryptAcquireContextW", ".ww==", WithFalse, Code(NTE_KEYSET_ENTRY_BAD), Provider, 0},
    {kAdvapi, "CryptContextAddRef", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER, Provider, kNowhere, 0},
    {kAdvapi, "CryptReleaseContext", kNoQuestion, Never, 0, Provider, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptGetProvParam", "h=?.+", WithFalse, kFail},
    {kAdvapi, "CryptSetProvParam", kChanges, WithFalse, kFail},
    {kAdvapi, "CryptGetUserKey", "h=", WithFalse, Code(NTE_NO_KEY), Key, 2},
    {kAdvapi, "CryptGenKey", kChanges, WithFalse, kNoMemory, Key, 3},
    {kAdvapi, "CryptDeriveKey", kNoQuestion, WithFalse, kNoMemory, Key, 4},
    {kAdvapi, "CryptDuplicateKey", kNoQuestion, WithFalse, kNoMemory, Key, 3},
    {kAdvapi, "CryptImportKey", kChanges, WithFalse, kBadKey, Key, 5},
    {kAdvapi, "CryptExportKey", "hh==?", WithFalse, kBadKey},
    {kAdvapi, "CryptGetKeyParam", "h=?.=", WithFalse, kBadKey},
    {kAdvapi, "CryptSetKeyParam", kChanges, WithFalse, kBadKey},
    {kAdvapi, "CryptDestroyKey", kNoQuestion, Never, 0, Key, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptCreateHash", kNoQuestion, WithFalse, kNoMemory, Hash, 4},
    {kAdvapi, "CryptHashData", kNoQuestion, WithFalse, kFail},
    {kAdvapi, "CryptSignHashW", kNoQuestion, WithFalse, kFail},
    {kAdvapi, "CryptVerifySignatureW", kNoQuestion, WithFalse, Code(NTE_BAD_SIGNATURE)},
    {kAdvapi, "CryptDestroyHash", kNoQuestion, Never, 0, Hash, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptEnumProvidersW", "===.?", WithFalse, kNoMemory},
    {kAdvapi, "CryptGetDefaultProviderW", "===?", WithFalse, kNoMemory},

    // Certificates and their stores
    {kCrypt, "CertCreateCertificateContext", kNoQuestion, WithNull, Code(CRYPT_E_ASN1_CORRUPT), Certificate, kResult},
    {kCrypt, "CertDuplicateCertificateContext", kNoQuestion, Never, 0, Certificate, kResult},
    {kCrypt, "CertFindCertificateInStore", kNoQuestion, WithNull, Code(CRYPT_E_NOT_FOUND), Certificate, kResult,
     kNowhere, 5},
    {kCrypt, "CertEnumCertificatesInStore", kNoQuestion, WithNull, Code(CRYPT_E_NOT_FOUND), Certificate, kResult,
     kNowhere, 1},
    {kCrypt, "CertFreeCertificateContext", kNoQuestion, Never, 0, Certificate, kNowhere, kNowhere, 0},
    {kCrypt, "CertOpenStore", "====w", WithNull, ERROR_ACCESS_DENIED, Store, kResult},
    {kCrypt, "CertCloseStore", kNoQuestion, Never, 0, Store, kNowhere, kNowhere, 0},
    {kCrypt, "CertEnumSystemStore", "=", WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertGetStoreProperty", "h=?", WithFalse, Code(CRYPT_E_NOT_FOUND)},
    {kCrypt, "CertAddCertificateContextToStore", kChanges, WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertAddEncodedCertificateToStore", kChanges, WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertGetCertificateContextProperty", "h=?", WithFalse, Code(CRYPT_E_NOT_FOUND)},
    {kCrypt, "CertSetCertificateContextProperty", kChanges, WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertComparePublicKeyInfo", kNoQuestion, WithFalse},
    {kCrypt, "CertFindExtension", kNoQuestion, WithNull},
    {kCrypt, "CryptDecodeObject", kNoQuestion, WithFalse, Code(CRYPT_E_ASN1_CORRUPT)},
    {kCrypt, "CryptExportPublicKeyInfo", kNoQuestion, WithFalse, kFail},
    {kCrypt, "CryptFindOIDInfo", kNoQuestion, WithNull},

    // The rest
    {kAdvapi, "RegOpenKeyExW", "hw==", WithCode, ERROR_ACCESS_DENIED, RegistryKey, 4},
    {kAdvapi, "RegCreateKeyExW", kChanges, WithCode, ERROR_ACCESS_DENIED, RegistryKey, 7},
    {kAdvapi, "RegEnumKeyW", "h=", WithCode, ERROR_ACCESS_DENIED},
    {kAdvapi, "RegQueryValueExW", "hw..?", WithCode, ERROR_FILE_NOT_FOUND},
    {kAdvapi, "RegSetValueExW", kChanges, WithCode, ERROR_ACCESS_DENIED},
    {kAdvapi, "RegCloseKey", kNoQuestion, Never, 0, RegistryKey, kNowhere, kNowhere, 0},
    {kAdvapi, "OpenProcessToken", kNoQuestion, WithFalse, ERROR_ACCESS_DENIED, File, 2},
    {kAdvapi, "LookupPrivilegeValueW", kNoQuestion, WithFalse, ERROR_NO_SUCH_PRIVILEGE},
    {kAdvapi, "OpenSCManagerW", "..=", WithNull, ERROR_ACCESS_DENIED, Service, kResult},
    {kAdvapi, "OpenServiceW", "hw=", WithNull, ERROR_SERVICE_DOES_NOT_EXIST, Service, kResult},
    {kAdvapi, "CloseServiceHandle", kNoQuestion, Never, 0, Service, kNowhere, kNowhere, 0},
    {kKernel, "LoadLibraryExW", "w.=", WithNull, ERROR_MOD_NOT_FOUND, Module, kResult},
    {kKernel, "FreeLibrary", kNoQuestion, Never, 0, Module, kNowhere, kNowhere, 0},
    {kKernel, "FileTimeToSystemTime", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "SystemTimeToTzSpecificLocalTime", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetDateFormatW", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetTimeFormatW", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "MultiByteToWideChar", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "WideCharToMultiByte", kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetSystemDirectoryW", kNoQuestion, WithFalse, ERROR_CALL_NOT_IMPLEMENTED},
    {kKernel, "GetSystemWow64DirectoryW", kNoQuestion, WithFalse, ERROR_CALL_NOT_IMPLEMENTED},
    {kKernel, "GetFullPathNameW", kNoQuestion, WithFalse, ERROR_INVALID_NAME},
    {kKernel, "CreateFileW", "w=", WithInvalidHandle, ERROR_SHARING_VIOLATION, File, kResult},
    {kKernel, "GetFileSizeEx", kNoQuestion, WithFalse, ERROR_GEN_FAILURE},
    {kKernel, "CreateFileMappingW", kNoQuestion, WithNull, ERROR_FILE_INVALID, File, kResult},
    {kKernel, "CloseHandle", kNoQuestion, Never, 0, File, kNowhere, kNowhere, 0},
    {kKernel, "MapViewOfFile", kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY, View, kResult},
    {kKernel, "UnmapViewOfFile", kNoQuestion, Never, 0, View, kNowhere, kNowhere, 0},
    {kVersionLibrary, "GetFileVersionInfoSizeW", "w", WithFalse, ERROR_RESOURCE_TYPE_NOT_FOUND},
    {kVersionLibrary, "GetFileVersionInfoW", "w", WithFalse, ERROR_RESOURCE_TYPE_NOT_FOUND},
    {kVersionLibrary, "VerQueryValueW", kNoQuestion, WithFalse},
    {kImageLibrary, "MapAndLoad", "a", WithFalse, ERROR_BAD_EXE_FORMAT, Image, kNowhere, 2},
    {kImageLibrary, "UnMapAndLoad", kNoQuestion, Never, 0, Image, kNowhere, kNowhere, 0},
    {kKernel, "GlobalAlloc", kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY},
    {kKernel, "GlobalLock", kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY},
    {kUser, "OpenClipboard", kNoQuestion, WithFalse, ERROR_ACCESS_DENIED},
    {kUser, "EmptyClipboard", kNoQuestion, WithFalse, ERROR_CLIPBOARD_NOT_OPEN},
    {kUser, "SetClipboardData", kNoQuestion, WithNull, ERROR_CLIPBOARD_NOT_OPEN},
    {kUser, "LoadImageW", kNoQuestion, WithNull, ERROR_RESOURCE_NAME_NOT_FOUND, Gdi, kResult},
    {kUser, "DestroyIcon", kNoQuestion, Never, 0, Gdi, kNowhere, kNowhere, 0},
    {kGdi, "CreateFontIndirectW", kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY, Gdi, kResult},
    {kUser, "LoadBitmapW", kNoQuestion, WithNull, ERROR_RESOURCE_NAME_NOT_FOUND, Gdi, kResult},
    {kGdi, "DeleteObject", kNoQuestion, Never, 0, Gdi, kNowhere, kNowhere, 0},

    // The product's configuration store
    {kSupportLibrary, "support_registry_find", "w", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_value_long", "h", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_value_free", kNoQuestion, Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "support_registry_search_open", "w", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_search_next", kNoQuestion, WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_search_close", kNoQuestion, Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "support_registry_value_name", "h.?", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_delete_param", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_delete_section", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_long", "w", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_bool", "w", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_string", "w.?", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_long", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_string", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_bool", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_section", kChanges, WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_check_access", "w", WithCode, ERROR_GEN_FAILURE},

    // Its key readers
    {kSupportLibrary, "supsys_register_all", ".", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_find_open", ".", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "supsys_find_next", kNoQuestion, WithCode, ERROR_NO_MORE_ITEMS, Value, 1},
    {kSupportLibrary, "supsys_find_close", kNoQuestion, Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "supsys_nickname", "h.?", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_connect_current", "h.?", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_register_name", "h.?", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_context_free", kNoQuestion, Never, 0, Value, kNowhere, kNowhere, 0},
};

}  // namespace

std::span<const SystemFunction> SystemFunctions() {
    return kFunctions;
}
