#include "softcsp/tool/Registration.h"

#include <windows.h>
#include <wincrypt.h>

#include "softcsp/common/Names.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Language.h"
#include "softcsp/tool/Console.h"
#include "softcsp/tool/CryptoRegistration.h"
#include "softcsp/tool/Installation.h"
#include "softcsp/tool/Setup.h"

namespace softcsp {
namespace {

// Both views of the registry: 32-bit programs read the other.
constexpr const wchar_t* kDefaults[] = {
    L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\",
    L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\",
};

// What the panel may look for. Those that aren't there are found missing when they are loaded.
constexpr const wchar_t* kFiles[] = {L"vestra.cpl", L"kvsuprt.dll", L"kvcsp.dll", L"kvrdr.dll",
                                     L"kvrndm.dll", L"kvcrypt.dll", L"kvcng.dll", L"kvocsp.dll"};

constexpr wchar_t kLanguage[] = L"\\config\\Language";
constexpr wchar_t kAppPath[] = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\";

std::wstring ProviderKey(const wchar_t* defaults, const ProviderName& provider) {
    return std::wstring(defaults) + L"Provider\\" + provider.name;
}

std::wstring TypeKey(const wchar_t* defaults, const ProviderName& provider) {
    return std::wstring(defaults) + L"Provider Types\\" + provider.typeKey;
}

void DeleteEverything() {
    DeleteKey(HKEY_LOCAL_MACHINE, kHomeKey);
    DeleteKey(HKEY_CURRENT_USER, kHomeKey);
    DeleteInstallation();
    UnregisterCryptography();
    for (const wchar_t* defaults : kDefaults)
        for (const ProviderName& provider : kProviders) {
            DeleteKey(HKEY_LOCAL_MACHINE, ProviderKey(defaults, provider));
            DeleteKey(HKEY_LOCAL_MACHINE, TypeKey(defaults, provider));
        }
}

void WriteProviders(const std::wstring& library) {
    for (const wchar_t* defaults : kDefaults)
        for (const ProviderName& provider : kProviders) {
            WriteMachineKey(ProviderKey(defaults, provider), {{L"Image Path", library},
                                                              {L"Type", DWORD{provider.type}},
                                                              {L"ImpType", DWORD{CRYPT_IMPL_SOFTWARE}},
                                                              {L"Signature", std::vector<BYTE>(4)},  // nobody checks it
                                                              {L"KV Module Name", L"kvcspr.dll"}});
            WriteMachineKey(TypeKey(defaults, provider), {{L"Name", provider.name}, {L"TypeName", provider.typeName}});
        }
}

// Goes past the denied paths: what prepares a machine must work at any time.
void WriteStore() {
    const Store store(Store::Rights::Ignored);
    for (const wchar_t* section :
         {L"\\config", L"\\config\\Parameters", L"\\config\\Provider", L"\\global", L"\\local"})
        Check(store.PutSection(section), std::wstring(L"can't make the section ") + section);
    const std::wstring opened = std::wstring(L"\\config\\") + kProductCode;
    Check(store.PutText(opened.c_str(), FindProvider(75)->name), L"can't write " + opened);
    // As an installer does, which runs in a language; a language that was chosen since stays.
    StoreValue chosen;
    if (store.Find(kLanguage, chosen) == ERROR_SUCCESS) return;
    const bool russian = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN;
    Check(store.PutNumber(kLanguage, russian ? kRussian : kEnglish), std::wstring(L"can't write ") + kLanguage);
}

}  // namespace

void Register(bool reset) {
    const std::wstring directory = OwnDirectory();
    if (reset) DeleteEverything();
    WriteProviders(directory + L"kvcsp.dll");
    for (const wchar_t* file : kFiles) WriteMachineKey(std::wstring(kAppPath) + file, {{L"", directory + file}});
    RegisterCryptography(directory + L"kvcrypt.dll");
    WriteInstallation(directory + L"vestra.cpl");
    WriteStore();
}

}  // namespace softcsp
