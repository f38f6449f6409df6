// "init": registers the libraries beside the tool on this machine. Five registrations are made:
//   providers     in both views of the registry. 32-bit programs find the names, which the panel changes there too, but
//                 no library: it is a 64-bit one
//   libraries     their paths, for the panel
//   cryptography  the algorithms and the functions of kvcrypt.dll, for the system
//   installation  the data that the product's installer leaves, so that the panel finds its versions and links
//   store         the first contents of the configuration store
#define CRYPT_OID_INFO_HAS_EXTRA_FIELDS  // the system accepts only this size of the structure
#include <windows.h>
#include <wincrypt.h>

#include <algorithm>
#include <variant>

#include "softcsp/common/Names.h"
#include "softcsp/common/Registry.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/encoding/KeyEncoding.h"
#include "softcsp/kvcrypt.h"
#include "softcsp/tool/Command.h"

namespace softcsp {
namespace {

// The name ("" = the key's default value) and the data.
using KeyValue = std::pair<const wchar_t*, std::variant<DWORD, std::wstring, std::vector<BYTE>>>;

// Creates the key beneath HKEY_LOCAL_MACHINE and sets its values; other values stay.
void WriteKey(const std::wstring& path, std::initializer_list<KeyValue> values) {
    for (const KeyValue& one : values) {
        const auto write = [&](const auto& data) { return WriteValue(HKEY_LOCAL_MACHINE, path, one.first, data); };
        Check(std::visit(write, one.second), L"can't write HKLM\\" + path + L"\\" + one.first);
    }
}

void RemoveWholeKey(HKEY root, const std::wstring& path) {
    const DWORD result = RemoveKey(root, path);
    if (result != ERROR_FILE_NOT_FOUND) Check(result, L"can't remove " + path);
}

constexpr wchar_t kDefaults[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\";
constexpr wchar_t kDefaults32[] = L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\";
constexpr wchar_t kAppPath[] = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\";

// The files that the panel looks for. Missing ones fail when they are loaded.
constexpr const wchar_t* kFiles[] = {L"vestra.cpl", L"kvsuprt.dll", L"kvcsp.dll", L"kvrdr.dll",
                                     L"kvrndm.dll", L"kvcrypt.dll", L"kvcng.dll", L"kvocsp.dll"};

std::wstring ProviderKey(const std::wstring& defaults, const ProviderName& provider) {
    return defaults + L"Provider\\" + provider.name;
}

std::wstring TypeKey(const std::wstring& defaults, const ProviderName& provider) {
    return defaults + L"Provider Types\\" + provider.typeKey;
}

void RemoveProviders() {
    for (const wchar_t* defaults : {kDefaults, kDefaults32})
        for (const ProviderName& provider : kProviders) {
            RemoveWholeKey(HKEY_LOCAL_MACHINE, ProviderKey(defaults, provider));
            RemoveWholeKey(HKEY_LOCAL_MACHINE, TypeKey(defaults, provider));
        }
}

void WriteProviders(const std::wstring& directory) {
    RemoveProviders();
    for (const wchar_t* defaults : {kDefaults, kDefaults32})
        for (const ProviderName& provider : kProviders) {
            WriteKey(ProviderKey(defaults, provider), {{L"Type", DWORD{provider.type}},
                                                       {L"ImpType", DWORD{CRYPT_IMPL_SOFTWARE}},
                                                       {L"KV Module Name", L"kvcspr.dll"}});
            WriteKey(TypeKey(defaults, provider), {{L"Name", provider.name}, {L"TypeName", provider.typeName}});
        }
    for (const ProviderName& provider : kProviders)
        WriteKey(ProviderKey(kDefaults, provider),
                 {{L"Image Path", directory + L"kvcsp.dll"}, {L"Signature", std::vector<BYTE>(4)}});  // not checked
}

struct Algorithm {
    const char* identifier;
    DWORD group;
    const wchar_t* name;
    ALG_ID algorithm;
    DWORD flags = 0;         // of the registration
    bool signature = false;  // `algorithm` is the hash; SignatureExtra has the key's
};

// The system keeps one entry per identifier and group. Keys have two algorithms, by which the system finds their
// identifier and users their name, so that the one of keys that only sign is registered among the signatures. A search
// by identifier visits the groups in their order: the public key first. A search by the algorithm of the hash would
// find the signature, whose identifier sorts first, so that the hash is registered before all others.
constexpr Algorithm kAlgorithms[] = {
    {kDigestIdentifier, CRYPT_HASH_ALG_OID_GROUP_ID, L"GOST R 34.11-94", kAlgDigest,
     CRYPT_INSTALL_OID_INFO_BEFORE_FLAG},
    {kCipherIdentifier, CRYPT_ENCRYPT_ALG_OID_GROUP_ID, L"GOST 28147-89", kAlgCipher},
    {kPublicKeyIdentifier, CRYPT_PUBKEY_ALG_OID_GROUP_ID, L"GOST R 34.10-2001", kAlgExchange},
    {kPublicKeyIdentifier, CRYPT_SIGN_ALG_OID_GROUP_ID, L"GOST R 34.10-2001", kAlgSignature},
    {kSignatureIdentifier, CRYPT_SIGN_ALG_OID_GROUP_ID, L"GOST R 34.11-94/34.10-2001", kAlgDigest, 0, true},
};

struct SignatureExtra {
    ALG_ID key;
    DWORD flags;
    DWORD providerType;  // of the provider that verifies
};
constexpr SignatureExtra kSignatureExtra = {kAlgExchange, CRYPT_OID_NO_NULL_ALGORITHM_PARA_FLAG, 75};

struct Function {
    const char* kind;
    const char* identifier;
    const char* entry;
};

constexpr Function kFunctions[] = {
    {"CryptDllEncodePublicKeyAndParameters", kPublicKeyIdentifier, "KvEncodePublicKeyAndParameters"},
    {"CryptDllConvertPublicKeyInfo", kPublicKeyIdentifier, "KvConvertPublicKeyInfo"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, KVCRYPT_USAGE_PERIOD, "KvDecodeUsagePeriod"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.1", "KvDecodeCertificates"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.2", "KvDecodeCertificates"},
    {CRYPT_OID_DECODE_OBJECT_FUNC, "1.2.643.2.2.37.3.3", "KvDecodeCertificates"},
};

// Calls the function, which registers or removes an algorithm, with its description.
template <class Change>
void EachAlgorithm(Change&& change) {
    SignatureExtra extra = kSignatureExtra;
    for (const Algorithm& algorithm : kAlgorithms) {
        CRYPT_OID_INFO info{};
        info.cbSize = sizeof info;
        info.pszOID = algorithm.identifier;
        info.pwszName = algorithm.name;
        info.dwGroupId = algorithm.group;
        info.Algid = algorithm.algorithm;
        if (algorithm.signature) info.ExtraInfo = {sizeof extra, reinterpret_cast<BYTE*>(&extra)};
        change(info, algorithm.flags);
    }
}

void CheckDone(BOOL done, const wchar_t* what, const char* identifier, DWORD ignored = ERROR_SUCCESS) {
    const DWORD result = done ? ERROR_SUCCESS : GetLastError();
    if (result != ignored) Check(result, what + Wide(identifier));
}

// Running programs do not notice the names of the algorithms: the system reads them when it is loaded.
void WriteCryptography(const std::wstring& library) {
    EachAlgorithm([](const CRYPT_OID_INFO& info, DWORD flags) {
        CheckDone(CryptRegisterOIDInfo(&info, flags), L"can't register ", info.pszOID);
    });
    for (const auto& [kind, identifier, entry] : kFunctions)
        CheckDone(CryptRegisterOIDFunction(X509_ASN_ENCODING, kind, identifier, library.c_str(), entry),
                  L"can't register the function for ", identifier);
}

void RemoveCryptography() {
    EachAlgorithm([](const CRYPT_OID_INFO& info, DWORD) {
        CheckDone(CryptUnregisterOIDInfo(&info), L"can't unregister ", info.pszOID, ERROR_FILE_NOT_FOUND);
    });
    for (const auto& [kind, identifier, entry] : kFunctions)
        CheckDone(CryptUnregisterOIDFunction(X509_ASN_ENCODING, kind, identifier),
                  L"can't unregister the function for ", identifier, ERROR_FILE_NOT_FOUND);
}

constexpr wchar_t kProductCode[] = L"{6F3A1D74-0C58-4E9B-A2D7-58B1C46E930F}";
constexpr wchar_t kComponent[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";  // the panel searches for it
constexpr wchar_t kMachineData[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData\\S-1-5-18\\";
constexpr wchar_t kMachineProducts[] = L"SOFTWARE\\Classes\\Installer\\Products\\";
constexpr DWORD kVersion = 5u << 24 | 0u << 16 | 4821u;

// The form of a GUID in the installer's keys: no punctuation, the first three fields reversed, and in the rest the two
// digits of each byte exchanged.
std::wstring Squashed(const std::wstring& guid) {
    std::wstring squashed;
    for (const wchar_t c : guid)
        if (iswxdigit(c)) squashed += c;
    std::size_t begin = 0;
    for (const std::size_t count : {8, 4, 4, 2, 2, 2, 2, 2, 2, 2, 2}) {
        std::ranges::reverse(squashed.begin() + static_cast<std::ptrdiff_t>(begin),
                             squashed.begin() + static_cast<std::ptrdiff_t>(begin + count));
        begin += count;
    }
    return squashed;
}

const std::wstring kComponentKey = kMachineData + (L"Components\\" + Squashed(kComponent));
const std::wstring kProductDataKey = kMachineData + (L"Products\\" + Squashed(kProductCode));
const std::wstring kProductKey = kMachineProducts + Squashed(kProductCode);

void RemoveInstallation() {
    for (const std::wstring& key : {kComponentKey, kProductDataKey, kProductKey})
        RemoveWholeKey(HKEY_LOCAL_MACHINE, key);
}

void WriteInstallation(const std::wstring& panel) {
    WriteKey(kComponentKey, {{Squashed(kProductCode).c_str(), panel}});
    WriteKey(kProductDataKey + L"\\InstallProperties", {{L"WindowsInstaller", DWORD{1}},
                                                        {L"DisplayName", L"Vestra CSP"},
                                                        {L"DisplayVersion", L"5.0.4821"},
                                                        {L"Version", kVersion},
                                                        {L"Publisher", L"Vestra CSP developers"},
                                                        {L"ProductID", L"none"},
                                                        {L"RegOwner", L"none"},
                                                        {L"URLInfoAbout", L"https://example.org/vestra"},
                                                        {L"URLUpdateInfo", L"https://example.org/vestra/updates"}});
    WriteKey(kProductKey, {{L"ProductName", L"Vestra CSP"}, {L"Version", kVersion}, {L"Assignment", DWORD{1}}});
}

constexpr wchar_t kLanguage[] = L"\\config\\Language";
constexpr DWORD kLongestPath = 32768;  // characters with the terminator

void WriteStore() {
    const Store store(Store::Denials::Ignored);
    for (const wchar_t* section :
         {L"\\config", L"\\config\\Parameters", L"\\config\\Provider", L"\\global", L"\\local"})
        Check(store.CreateSection(section), std::wstring(L"can't create the section ") + section);
    const std::wstring opened = std::wstring(L"\\config\\") + kProductCode;
    Check(store.WriteText(opened.c_str(), FindProvider(75)->name), L"can't write " + opened);
    // An installer sets its own language. A language that the user chose since then stays.
    StoreValue chosen;
    if (store.Find(kLanguage, chosen) == ERROR_SUCCESS) return;
    const bool russian = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN;
    Check(store.WriteNumber(kLanguage, russian ? kRussian : kEnglish), std::wstring(L"can't write ") + kLanguage);
}

// With the last backslash; the libraries and the panel are in the same directory.
std::wstring OwnDirectory() {
    std::wstring path(kLongestPath, L'\0');
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
    Check(length == 0 || length == kLongestPath ? ERROR_BAD_PATHNAME : ERROR_SUCCESS, L"can't find my own directory");
    return path.substr(0, path.rfind(L'\\', length) + 1);
}

}  // namespace

// With --reset the registrations, the store, the denied paths and the settings are removed first.
void RunInit(Arguments arguments) {
    constexpr Option known[] = {{L"--reset"}};
    if (Options(arguments, known, {0, 0}).Has(known->name)) {
        RemoveWholeKey(HKEY_LOCAL_MACHINE, kHomeKey);
        RemoveWholeKey(HKEY_CURRENT_USER, kHomeKey);
        RemoveInstallation();
        RemoveCryptography();
        RemoveProviders();
    }
    const std::wstring directory = OwnDirectory();
    WriteProviders(directory);
    for (const wchar_t* file : kFiles) WriteKey(std::wstring(kAppPath) + file, {{L"", directory + file}});
    WriteCryptography(directory + L"kvcrypt.dll");
    WriteInstallation(directory + L"vestra.cpl");
    WriteStore();
    Print(Stream::Output, L"softcsp: registered\n");
}

}  // namespace softcsp
