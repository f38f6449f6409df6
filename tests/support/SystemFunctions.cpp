#include "tests/support/SystemFunctions.h"

#include <set>

namespace {

using enum Fails;

// Codes that neither the code under test nor the system gives otherwise in these places, as far as there are such.
constexpr DWORD kFail = DWORD(NTE_FAIL), kBadKey = DWORD(NTE_BAD_KEY), kNoMemory = DWORD(NTE_NO_MEMORY),
                kNotFound = DWORD(CRYPT_E_NOT_FOUND), kCorrupt = DWORD(CRYPT_E_ASN1_CORRUPT);

// Functions that open something are followed by the one that closes it, and by where the handle is.
const struct {
    std::vector<const char*> names;
    SystemFunction common;
} kFunctions[] = {
    // Providers, keys, hashes
    {{"CryptAcquireContextW"}, {".ww==", WithFalse, DWORD(NTE_KEYSET_ENTRY_BAD), "CryptReleaseContext", 0}},
    {{"CryptContextAddRef"}, {kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER, "CryptReleaseContext", kFirstArgument}},
    {{"CryptGetProvParam"}, {"h=?.+", WithFalse, kFail}},
    {{"CryptGetUserKey"}, {"h=", WithFalse, DWORD(NTE_NO_KEY), "CryptDestroyKey", 2}},
    {{"CryptGenKey"}, {kChanges, WithFalse, kNoMemory, "CryptDestroyKey", 3}},
    {{"CryptDuplicateKey"}, {kNoQuestion, WithFalse, kNoMemory, "CryptDestroyKey", 3}},
    {{"CryptImportKey"}, {kChanges, WithFalse, kBadKey, "CryptDestroyKey", 5}},
    {{"CryptExportKey"}, {"hh==?", WithFalse, kBadKey}},
    {{"CryptGetKeyParam"}, {"h=?.=", WithFalse, kBadKey}},
    {{"CryptSetProvParam", "CryptSetKeyParam"}, {kChanges, WithFalse, kBadKey}},
    {{"CryptCreateHash"}, {kNoQuestion, WithFalse, kNoMemory, "CryptDestroyHash", 4}},
    {{"CryptHashData", "CryptSignHashW", "CryptVerifySignatureW", "CryptExportPublicKeyInfo"},
     {kNoQuestion, WithFalse, kFail}},
    {{"CryptEnumProvidersW"}, {"===.?", WithFalse, kNoMemory}},
    {{"CryptGetDefaultProviderW"}, {"===?", WithFalse, kNoMemory}},

    // Certificates and their stores
    {{"CertCreateCertificateContext"}, {kNoQuestion, WithNull, kCorrupt, "CertFreeCertificateContext", kResult}},
    {{"CertDuplicateCertificateContext"}, {kNoQuestion, Never, 0, "CertFreeCertificateContext", kResult}},
    {{"CertFindCertificateInStore"}, {kNoQuestion, WithNull, kNotFound, "CertFreeCertificateContext", kResult, 5}},
    {{"CertEnumCertificatesInStore"}, {kNoQuestion, WithNull, kNotFound, "CertFreeCertificateContext", kResult, 1}},
    {{"CertOpenStore"}, {"====w", WithNull, ERROR_ACCESS_DENIED, "CertCloseStore", kResult}},
    {{"CertEnumSystemStore"}, {"=", WithFalse, ERROR_ACCESS_DENIED}},
    {{"CertGetStoreProperty", "CertGetCertificateContextProperty"}, {"h=?", WithFalse, kNotFound}},
    {{"CertAddCertificateContextToStore", "CertAddEncodedCertificateToStore", "CertSetCertificateContextProperty"},
     {kChanges, WithFalse, ERROR_ACCESS_DENIED}},
    {{"CryptSetKeyIdentifierProperty"}, {}},
    {{"CertComparePublicKeyInfo", "VerQueryValueW"}, {kNoQuestion, WithFalse}},
    {{"CertFindExtension", "CryptFindOIDInfo"}, {kNoQuestion, WithNull}},
    {{"CryptDecodeObject"}, {kNoQuestion, WithFalse, kCorrupt}},

    // The rest
    {{"RegOpenKeyExW"}, {"hw==", WithCode, ERROR_ACCESS_DENIED, "RegCloseKey", 4}},
    {{"RegCreateKeyExW"}, {kChanges, WithCode, ERROR_ACCESS_DENIED, "RegCloseKey", 7}},
    {{"RegEnumKeyW"}, {"h=", WithCode, ERROR_ACCESS_DENIED}},
    {{"RegQueryValueExW"}, {"hw..?", WithCode, ERROR_FILE_NOT_FOUND}},
    {{"RegSetValueExW"}, {kChanges, WithCode, ERROR_ACCESS_DENIED}},
    {{"OpenProcessToken"}, {kNoQuestion, WithFalse, ERROR_ACCESS_DENIED, "CloseHandle", 2}},
    {{"OpenSCManagerW"}, {"..=", WithNull, ERROR_ACCESS_DENIED, "CloseServiceHandle", kResult}},
    {{"OpenServiceW"}, {"hw=", WithNull, ERROR_SERVICE_DOES_NOT_EXIST, "CloseServiceHandle", kResult}},
    {{"LoadLibraryExW"}, {"w.=", WithNull, ERROR_MOD_NOT_FOUND, "FreeLibrary", kResult}},
    {{"CreateFileW"}, {"w=", WithInvalidHandle, ERROR_SHARING_VIOLATION, "CloseHandle", kResult}},
    {{"CreateFileMappingW"}, {kNoQuestion, WithNull, ERROR_FILE_INVALID, "CloseHandle", kResult}},
    {{"MapViewOfFile"}, {kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY, "UnmapViewOfFile", kResult}},
    {{"GetFileVersionInfoSizeW", "GetFileVersionInfoW"}, {"w", WithFalse, ERROR_RESOURCE_TYPE_NOT_FOUND}},
    {{"MapAndLoad"}, {"a", WithFalse, ERROR_BAD_EXE_FORMAT, "UnMapAndLoad", 2}},
    {{"FileTimeToSystemTime", "SystemTimeToTzSpecificLocalTime", "GetDateFormatW", "GetTimeFormatW",
      "MultiByteToWideChar", "WideCharToMultiByte", "GetSystemDirectoryW", "GetSystemWow64DirectoryW",
      "GetFullPathNameW", "GetFileSizeEx", "LookupPrivilegeValueW"},
     {kNoQuestion, WithFalse, ERROR_INVALID_PARAMETER}},
    {{"OpenClipboard", "EmptyClipboard"}, {kNoQuestion, WithFalse, ERROR_CLIPBOARD_NOT_OPEN}},
    {{"GlobalAlloc", "GlobalLock", "SetClipboardData"}, {kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY}},
    {{"CreateFontIndirectW", "LoadBitmapW", "LoadImageW", "CopyImage"},
     {kNoQuestion, WithNull, ERROR_NOT_ENOUGH_MEMORY, "DeleteObject", kResult}},
    {{"DestroyIcon"}, {.closer = "DeleteObject", .closes = 0}},  // closes icons of the same functions

    // The product's configuration store and key readers
    {{"support_registry_find"}, {"w", WithCode, ERROR_GEN_FAILURE, "support_registry_value_free", 1}},
    {{"support_registry_search_open"}, {"w", WithCode, ERROR_GEN_FAILURE, "support_registry_search_close", 1}},
    {{"support_registry_search_next"}, {kNoQuestion, WithCode, ERROR_GEN_FAILURE, "support_registry_value_free", 1}},
    {{"support_registry_value_long"}, {"h", WithCode, ERROR_GEN_FAILURE}},
    {{"support_registry_value_name", "supsys_nickname", "supsys_connect_current", "supsys_register_name"},
     {"h.?", WithCode, ERROR_GEN_FAILURE}},
    {{"support_registry_delete_param", "support_registry_delete_section", "support_registry_put_long",
      "support_registry_put_string", "support_registry_put_bool", "support_registry_put_section"},
     {kChanges, WithCode, ERROR_GEN_FAILURE}},
    {{"support_registry_get_long", "support_registry_get_bool", "support_registry_check_access"},
     {"w", WithCode, ERROR_GEN_FAILURE}},
    {{"support_registry_get_string"}, {"w.?", WithCode, ERROR_GEN_FAILURE}},
    {{"supsys_register_all"}, {".", WithCode, ERROR_GEN_FAILURE}},
    {{"supsys_find_open"}, {".", WithCode, ERROR_GEN_FAILURE, "supsys_find_close", 1}},
    {{"supsys_find_next"}, {kNoQuestion, WithCode, ERROR_NO_MORE_ITEMS, "supsys_context_free", 1}},
};

std::vector<SystemFunction> WithClosers() {
    std::vector<SystemFunction> all;
    std::set<std::string_view> closers = {""};
    for (const auto& [names, common] : kFunctions) {
        for (const char* name : names) all.emplace_back(common).name = name;
        if (closers.insert(common.closer).second)
            all.push_back({.closer = common.closer, .closes = 0, .name = common.closer});
    }
    return all;
}

}  // namespace

const std::vector<SystemFunction>& SystemFunctions() {
    static const std::vector<SystemFunction> functions = WithClosers();
    return functions;
}
