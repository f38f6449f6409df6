#include "tests/support/SystemFunctions.h"

#include <wincrypt.h>

namespace {

using enum Fails;
using enum Owned;

constexpr char kAdvapi[] = "advapi32.dll", kCrypt[] = "crypt32.dll", kKernel[] = "kernel32.dll", kGdi[] = "gdi32.dll",
               kUser[] = "user32.dll";

constexpr DWORD Code(HRESULT code) {
    return static_cast<DWORD>(code);
}

// Codes that neither the code under test nor the system gives otherwise in these places, as far as there are such.
constexpr DWORD kFail = Code(NTE_FAIL), kBadKey = Code(NTE_BAD_KEY), kNoMemory = Code(NTE_NO_MEMORY);

constexpr SystemFunction kFunctions[] = {
    // Providers, keys, hashes
    {kAdvapi, "CryptAcquireContextW", WithFalse, Code(NTE_KEYSET_ENTRY_BAD), Provider, 0},
    {kAdvapi, "CryptContextAddRef", WithFalse, ERROR_INVALID_PARAMETER, Provider, kNowhere, 0},
    {kAdvapi, "CryptReleaseContext", Never, 0, Provider, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptGetProvParam", WithFalse, kFail},
    {kAdvapi, "CryptSetProvParam", WithFalse, kFail},
    {kAdvapi, "CryptGetUserKey", WithFalse, Code(NTE_NO_KEY), Key, 2},
    {kAdvapi, "CryptGenKey", WithFalse, kNoMemory, Key, 3},
    {kAdvapi, "CryptDeriveKey", WithFalse, kNoMemory, Key, 4},
    {kAdvapi, "CryptDuplicateKey", WithFalse, kNoMemory, Key, 3},
    {kAdvapi, "CryptImportKey", WithFalse, kBadKey, Key, 5},
    {kAdvapi, "CryptExportKey", WithFalse, kBadKey},
    {kAdvapi, "CryptGetKeyParam", WithFalse, kBadKey},
    {kAdvapi, "CryptSetKeyParam", WithFalse, kBadKey},
    {kAdvapi, "CryptDestroyKey", Never, 0, Key, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptCreateHash", WithFalse, kNoMemory, Hash, 4},
    {kAdvapi, "CryptHashData", WithFalse, kFail},
    {kAdvapi, "CryptSignHashW", WithFalse, kFail},
    {kAdvapi, "CryptVerifySignatureW", WithFalse, Code(NTE_BAD_SIGNATURE)},
    {kAdvapi, "CryptDestroyHash", Never, 0, Hash, kNowhere, kNowhere, 0},
    {kAdvapi, "CryptEnumProvidersW", WithFalse, kNoMemory},
    {kAdvapi, "CryptGetDefaultProviderW", WithFalse, kNoMemory},

    // Certificates and their stores
    {kCrypt, "CertCreateCertificateContext", WithNull, Code(CRYPT_E_ASN1_CORRUPT), Certificate, kResult},
    {kCrypt, "CertDuplicateCertificateContext", Never, 0, Certificate, kResult},
    {kCrypt, "CertFindCertificateInStore", WithNull, Code(CRYPT_E_NOT_FOUND), Certificate, kResult, kNowhere, 5},
    {kCrypt, "CertEnumCertificatesInStore", WithNull, Code(CRYPT_E_NOT_FOUND), Certificate, kResult, kNowhere, 1},
    {kCrypt, "CertFreeCertificateContext", Never, 0, Certificate, kNowhere, kNowhere, 0},
    {kCrypt, "CertOpenStore", WithNull, ERROR_ACCESS_DENIED, Store, kResult},
    {kCrypt, "CertCloseStore", Never, 0, Store, kNowhere, kNowhere, 0},
    {kCrypt, "CertEnumSystemStore", WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertGetStoreProperty", WithFalse, Code(CRYPT_E_NOT_FOUND)},
    {kCrypt, "CertAddCertificateContextToStore", WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertAddEncodedCertificateToStore", WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertGetCertificateContextProperty", WithFalse, Code(CRYPT_E_NOT_FOUND)},
    {kCrypt, "CertSetCertificateContextProperty", WithFalse, ERROR_ACCESS_DENIED},
    {kCrypt, "CertComparePublicKeyInfo", WithFalse},
    {kCrypt, "CertFindExtension", WithNull},
    {kCrypt, "CryptDecodeObject", WithFalse, Code(CRYPT_E_ASN1_CORRUPT)},
    {kCrypt, "CryptExportPublicKeyInfo", WithFalse, kFail},
    {kCrypt, "CryptFindOIDInfo", WithNull},

    // The rest
    {kAdvapi, "RegOpenKeyExW", WithCode, ERROR_ACCESS_DENIED, RegistryKey, 4},
    {kAdvapi, "RegCreateKeyExW", WithCode, ERROR_ACCESS_DENIED, RegistryKey, 7},
    {kAdvapi, "RegEnumKeyW", WithCode, ERROR_ACCESS_DENIED},
    {kAdvapi, "RegQueryValueExW", WithCode, ERROR_FILE_NOT_FOUND},
    {kAdvapi, "RegSetValueExW", WithCode, ERROR_ACCESS_DENIED},
    {kAdvapi, "RegCloseKey", Never, 0, RegistryKey, kNowhere, kNowhere, 0},
    {kAdvapi, "OpenSCManagerW", WithNull, ERROR_ACCESS_DENIED, Service, kResult},
    {kAdvapi, "OpenServiceW", WithNull, ERROR_SERVICE_DOES_NOT_EXIST, Service, kResult},
    {kAdvapi, "CloseServiceHandle", Never, 0, Service, kNowhere, kNowhere, 0},
    {kKernel, "LoadLibraryExW", WithNull, ERROR_MOD_NOT_FOUND, Module, kResult},
    {kKernel, "FreeLibrary", Never, 0, Module, kNowhere, kNowhere, 0},
    {kKernel, "FileTimeToSystemTime", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "SystemTimeToTzSpecificLocalTime", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetDateFormatW", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetTimeFormatW", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "MultiByteToWideChar", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "WideCharToMultiByte", WithFalse, ERROR_INVALID_PARAMETER},
    {kKernel, "GetSystemDirectoryW", WithFalse, ERROR_CALL_NOT_IMPLEMENTED},
    {kKernel, "GetSystemWow64DirectoryW", WithFalse, ERROR_CALL_NOT_IMPLEMENTED},
    {kKernel, "GetFullPathNameW", WithFalse, ERROR_INVALID_NAME},
    {kKernel, "CreateFileW", WithInvalidHandle, ERROR_SHARING_VIOLATION},
    {kKernel, "GetFileSizeEx", WithFalse, ERROR_GEN_FAILURE},
    {kKernel, "CreateFileMappingW", WithNull, ERROR_FILE_INVALID},
    {kKernel, "MapViewOfFile", WithNull, ERROR_NOT_ENOUGH_MEMORY, View, kResult},
    {kKernel, "UnmapViewOfFile", Never, 0, View, kNowhere, kNowhere, 0},
    {kVersionLibrary, "GetFileVersionInfoSizeW", WithFalse, ERROR_RESOURCE_TYPE_NOT_FOUND},
    {kVersionLibrary, "GetFileVersionInfoW", WithFalse, ERROR_RESOURCE_TYPE_NOT_FOUND},
    {kVersionLibrary, "VerQueryValueW", WithFalse},
    {kImageLibrary, "MapAndLoad", WithFalse, ERROR_BAD_EXE_FORMAT, Image, kNowhere, 2},
    {kImageLibrary, "UnMapAndLoad", Never, 0, Image, kNowhere, kNowhere, 0},
    {kKernel, "GlobalAlloc", WithNull, ERROR_NOT_ENOUGH_MEMORY},
    {kKernel, "GlobalLock", WithNull, ERROR_NOT_ENOUGH_MEMORY},
    {kUser, "OpenClipboard", WithFalse, ERROR_ACCESS_DENIED},
    {kUser, "EmptyClipboard", WithFalse, ERROR_CLIPBOARD_NOT_OPEN},
    {kUser, "SetClipboardData", WithNull, ERROR_CLIPBOARD_NOT_OPEN},
    {kUser, "LoadImageW", WithNull, ERROR_RESOURCE_NAME_NOT_FOUND, Gdi, kResult},
    {kUser, "DestroyIcon", Never, 0, Gdi, kNowhere, kNowhere, 0},
    {kGdi, "CreateFontIndirectW", WithNull, ERROR_NOT_ENOUGH_MEMORY, Gdi, kResult},
    {kUser, "LoadBitmapW", WithNull, ERROR_RESOURCE_NAME_NOT_FOUND, Gdi, kResult},
    {kGdi, "DeleteObject", Never, 0, Gdi, kNowhere, kNowhere, 0},

    // The product's configuration store
    {kSupportLibrary, "support_registry_find", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_value_long", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_value_free", Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "support_registry_search_open", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_search_next", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "support_registry_search_close", Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "support_registry_value_name", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_delete_param", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_delete_section", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_long", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_bool", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_get_string", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_long", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_string", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_bool", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_put_section", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "support_registry_check_access", WithCode, ERROR_GEN_FAILURE},

    // Its key readers
    {kSupportLibrary, "supsys_register_all", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_find_open", WithCode, ERROR_GEN_FAILURE, Value, 1},
    {kSupportLibrary, "supsys_find_next", WithCode, ERROR_NO_MORE_ITEMS, Value, 1},
    {kSupportLibrary, "supsys_find_close", Never, 0, Value, kNowhere, kNowhere, 0},
    {kSupportLibrary, "supsys_nickname", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_connect_current", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_register_name", WithCode, ERROR_GEN_FAILURE},
    {kSupportLibrary, "supsys_context_free", Never, 0, Value, kNowhere, kNowhere, 0},
};

}  // namespace

std::span<const SystemFunction> SystemFunctions() {
    return kFunctions;
}
