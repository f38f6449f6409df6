#include "console/Doctor.h"

#include <wincrypt.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "applet/services/ProductLibrary.h"
#include "applet/services/Strings.h"
#include "console/Output.h"
#include "console/settings/SettingRow.h"
#include "csp/CertificateText.h"
#include "csp/ContainerCertificates.h"
#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/ProviderParameters.h"
#include "csp/Providers.h"
#include "framework/Registry.h"
#include "framework/Text.h"
#include "resources/console.h"
#include "settings/LanguageSettings.h"
#include "settings/SecuritySettings.h"

namespace {

using Text = std::wstring;

class Doctor {
  public:
    void ExamineLibraries();
    void ExamineModules();
    void ExamineProviders();
    void ExamineDefaults();
    void ExamineRights();
    void ExamineService();
    void ExamineDecoders();
    void ExaminePanel(const Text& panel);
    void ExamineLanguage();

    std::vector<Diagnosis> Take() { return std::move(diagnoses_); }

  private:
    void Good(Text id, UINT found, const Text& insert1 = {}, const Text& insert2 = {}) {
        diagnoses_.push_back({std::move(id), Health::Good, FormatStringId(found, insert1, insert2), {}});
    }
    void Bad(Text id, Health health, UINT advice, UINT found, const Text& insert1 = {}, const Text& insert2 = {}) {
        diagnoses_.push_back({std::move(id), health, FormatStringId(found, insert1, insert2), LoadStringLang(advice)});
    }
    void ExamineProvider(const Provider& provider);

    const std::vector<Provider> installed_ = ListInstalledProviders();
    std::vector<Diagnosis> diagnoses_;
};

// --- Libraries -----------------------------------------------------------------------------------------------------

struct Library {
    const wchar_t* file;
    std::vector<const char*> functions;  // that the panel looks up
};

const Library kLibraries[] = {
    {L"kvsuprt.dll",
     {"support_resource_string",
      "support_resource_version_string",
      "support_registry_get_string",
      "support_registry_put_string",
      "support_registry_get_long",
      "support_registry_put_long",
      "support_registry_get_bool",
      "support_registry_put_bool",
      "support_registry_put_section",
      "support_registry_delete_param",
      "support_registry_delete_section",
      "support_registry_check_access",
      "support_registry_search_open",
      "support_registry_search_next",
      "support_registry_search_close",
      "support_registry_value_name",
      "support_registry_find",
      "support_registry_value_long",
      "support_registry_value_free",
      "supsys_register_all",
      "supsys_unregister_all",
      "supsys_find_open",
      "supsys_find_next",
      "supsys_find_close",
      "supsys_context_free",
      "supsys_nickname",
      "supsys_connect_current",
      "supsys_register_name",
      "support_wnd_language_get",
      "support_wnd_language_update",
      "support_wnd_language_done"}},
    {L"kvrdr.dll", {"rdr_wnd_configure", "rdr_media_wnd_configure", "rdr_register_start"}},
    {L"kvrndm.dll", {"rndm_wnd_configure"}},
    {L"kvcrypt.dll", {}},
};

Text PathOf(HMODULE module) {
    wchar_t path[MAX_PATH] = L"";
    const DWORD length = GetModuleFileNameW(module, path, MAX_PATH);
    return {path, length < MAX_PATH ? length : 0};
}

void Doctor::ExamineLibraries() {
    for (const Library& library : kLibraries) {
        const Text id = Text(L"library.") + library.file;
        const UniqueModule module(LoadProductLibrary(library.file));
        if (!module) {
            const Text why = FailureText(LastFailure());
            Bad(id, Health::Error, IDS_ADVICE_INSTALL, IDS_DOCTOR_LIBRARY_MISSING, ResolveProductLibrary(library.file),
                why);
            continue;
        }
        Text missing;
        for (const char* name : library.functions) {
            if (!GetProcAddress(module.get(), name)) missing += (missing.empty() ? L"" : L", ") + FromUtf8(name);
        }
        if (missing.empty()) {
            Good(id, IDS_DOCTOR_LIBRARY_GOOD, library.file, PathOf(module.get()));
        } else {
            Bad(id, Health::Error, IDS_ADVICE_UPDATE, IDS_DOCTOR_FUNCTIONS_MISSING, PathOf(module.get()), missing);
        }
    }
}

void Doctor::ExamineModules() {
    for (const auto& [file, effect] :
         {std::pair{L"kvcng.dll", IDS_DOCTOR_NO_CNG}, {L"kvocsp.dll", IDS_DOCTOR_NO_OCSP}}) {
        const Text id = Text(L"module.") + file;
        const UniqueModule module(LoadLibraryByName(file));
        if (module) {
            Good(id, IDS_DOCTOR_LIBRARY_GOOD, file, PathOf(module.get()));
        } else {
            Bad(id, Health::Warning, IDS_ADVICE_MODULE, effect, file);
        }
    }
}

// --- Providers -----------------------------------------------------------------------------------------------------

Text Expanded(const Text& path) {
    wchar_t expanded[1024] = L"";
    const DWORD length = ExpandEnvironmentStringsW(path.c_str(), expanded, static_cast<DWORD>(std::size(expanded)));
    return length > 0 && length <= std::size(expanded) ? Text(expanded) : path;
}

bool IsFile(const Text& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// With a key that exists only as long as the context.
Result<> SignTest(HCRYPTPROV provider) {
    static constexpr BYTE kTest[] = {'t', 'e', 's', 't'};
    UniqueCryptKey key;
    UniqueCryptHash hash;
    return Try(CryptGenKey(provider, AT_SIGNATURE, 0, key.put()))
        .Then([&] { return Try(CryptCreateHash(provider, kDigestAlgorithm, 0, 0, hash.put())); })
        .Then([&] { return Try(CryptHashData(hash.get(), kTest, sizeof kTest, 0)); })
        .Then([&]() -> Result<> {
            const Result<Bytes> signature = ReadBytes([&](BYTE* data, DWORD* length) {
                return CryptSignHashW(hash.get(), AT_SIGNATURE, nullptr, 0, data, length);
            });
            return signature ? Result<>() : Result<>(signature.Failed());
        });
}

void Doctor::ExamineProvider(const Provider& provider) {
    const Text id = L"provider[" + provider.name + L"]";
    // The system searches for a library that is registered without a path.
    const Text image = Expanded(ProviderImagePath(provider.name));
    if (image.empty() || (image.find(L'\\') != Text::npos && !IsFile(image))) {
        Bad(id, Health::Error, IDS_ADVICE_INSTALL, IDS_DOCTOR_NO_IMAGE, provider.name, image);
        return;
    }
    CCryptProvContext context;
    const Result<> opened =
        context.Acquire(CRYPT_VERIFYCONTEXT | CRYPT_SILENT, nullptr, provider.name.c_str(), provider.type);
    if (!opened) {
        Bad(id, Health::Error, IDS_ADVICE_INSTALL, IDS_DOCTOR_NOT_OPENED, provider.name, FailureText(opened.Failed()));
        return;
    }
    if (const Result<> sign = SignTest(context.Get()); !sign) {
        Bad(id, Health::Error, IDS_ADVICE_SIGN, IDS_DOCTOR_NOT_SIGNED, provider.name, FailureText(sign.Failed()));
        return;
    }
    Good(id, IDS_DOCTOR_PROVIDER_GOOD, provider.name, image);
}

void Doctor::ExamineProviders() {
    std::vector<DWORD> types;
    for (const Provider& provider : ListProductProviders(installed_)) {
        types.push_back(provider.type);
        ExamineProvider(provider);
    }
    for (const auto& [type, health] : {std::pair{kProviderType75, Health::Error}, {kProviderType71, Health::Warning}}) {
        const Text number = std::to_wstring(type);
        if (std::find(types.begin(), types.end(), type) == types.end()) {
            Bad(L"provider." + number, health, IDS_ADVICE_INSTALL, IDS_DOCTOR_NO_PROVIDER, number);
        }
    }
}

void Doctor::ExamineDefaults() {
    for (const DWORD type : {kProviderType75, kProviderType71}) {
        const Text number = std::to_wstring(type), id = L"default." + number, name = DefaultProviderName(type);
        const bool known = std::any_of(installed_.begin(), installed_.end(), [&](const Provider& provider) {
            return provider.type == type && provider.name == name;
        });
        if (name.empty()) {
            Bad(id, Health::Warning, IDS_ADVICE_DEFAULT, IDS_DOCTOR_NO_DEFAULT, number);
        } else if (!known) {
            Bad(id, Health::Error, IDS_ADVICE_DEFAULT, IDS_DOCTOR_UNKNOWN_DEFAULT, number, name);
        } else {
            Good(id, IDS_DOCTOR_DEFAULT_GOOD, number, name);
        }
    }
    if (IsDefaultProviderIntercepted()) {
        Bad(L"default.intercepted", Health::Error, IDS_ADVICE_INTERCEPTED, IDS_DOCTOR_INTERCEPTED);
    } else {
        Good(L"default.intercepted", IDS_DOCTOR_NOT_INTERCEPTED);
    }
}

// --- Rights, services, decoders ------------------------------------------------------------------------------------

void Doctor::ExamineRights() {
    for (const wchar_t* section :
         {L"\\local", L"\\global", L"\\config", L"\\config\\Parameters", L"\\config\\Provider", L"\\config\\oid"}) {
        const Text id = L"rights." + Text(section);
        if (MayWriteOrCreate(section)) {
            Good(id, IDS_DOCTOR_MAY_WRITE, section);
        } else {
            Bad(id, Health::Warning, IDS_ADVICE_ADMINISTRATOR, IDS_DOCTOR_MAY_NOT_WRITE, section);
        }
    }
}

void Doctor::ExamineService() {
    const Text id = L"service.kvcsp1";
    if (IsKeyServiceInstalled()) {
        Good(id, IDS_DOCTOR_SERVICE_GOOD);
        return;
    }
    for (const Provider& provider : ListOwnProviders(installed_)) {
        SecuritySettings settings;
        settings.Open(provider);
        if (settings.mode.stored != ProviderMode::Service) continue;
        Bad(id, Health::Warning, IDS_ADVICE_SERVICE, IDS_DOCTOR_NO_SERVICE, provider.name);
        return;
    }
    Good(id, IDS_DOCTOR_SERVICE_UNUSED);
}

bool IsDecoderRegistered(HCRYPTOIDFUNCSET set, const char* identifier) {
    void* function = nullptr;
    HCRYPTOIDFUNCADDR address = nullptr;
    if (!CryptGetOIDFunctionAddress(set, X509_ASN_ENCODING, identifier, 0, &function, &address)) return false;
    CryptFreeOIDFunctionAddress(address, 0);
    return true;
}

void Doctor::ExamineDecoders() {
    const HCRYPTOIDFUNCSET set = CryptInitOIDFunctionSet(CRYPT_OID_DECODE_OBJECT_FUNC, 0);  // kept by the system
    std::vector<const char*> identifiers = {kUsagePeriodType, kIntermediateExtension};
    identifiers.insert(identifiers.end(), std::begin(kRootExtensions), std::end(kRootExtensions));
    for (const char* identifier : identifiers) {
        const Text name = FromUtf8(identifier), id = L"decoder." + name;
        if (set && IsDecoderRegistered(set, identifier)) {
            Good(id, IDS_DOCTOR_DECODER_GOOD, name);
        } else {
            Bad(id, Health::Warning, IDS_ADVICE_INSTALL, IDS_DOCTOR_NO_DECODER, name);
        }
    }
}

// --- Panel and language --------------------------------------------------------------------------------------------

constexpr wchar_t kItems[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Explorer\\ControlPanel\\NameSpace";
constexpr wchar_t kCanonicalName[] = L"Vestra.CSP";

// The command that opens the panel's item in the Control Panel; empty when it has none.
Text PanelCommand() {
    UniqueRegistryKey items;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kItems, 0, KEY_ENUMERATE_SUB_KEYS, items.put()) != ERROR_SUCCESS) return {};
    wchar_t name[MAX_PATH];
    for (DWORD i = 0; RegEnumKeyW(items.get(), i, name, MAX_PATH) == ERROR_SUCCESS; ++i) {
        const Text item = L"CLSID\\" + Text(name);
        if (ReadRegistryText(HKEY_CLASSES_ROOT, item, L"System.ApplicationName") != kCanonicalName) continue;
        return ReadRegistryText(HKEY_CLASSES_ROOT, item + L"\\Shell\\Open\\Command", nullptr).value_or(Text());
    }
    return {};
}

void Doctor::ExaminePanel(const Text& panel) {
    const Text id = L"panel";
    const Text command = PanelCommand();
    if (panel.empty() || !IsFile(panel)) {
        Bad(id, Health::Error, IDS_ADVICE_INSTALL, IDS_DOCTOR_NO_PANEL, panel);
    } else if (command.empty()) {
        Bad(id, Health::Warning, IDS_ADVICE_INSTALL, IDS_DOCTOR_PANEL_UNREGISTERED, panel);
    } else if (command.find(panel) == Text::npos) {
        Bad(id, Health::Warning, IDS_ADVICE_INSTALL, IDS_DOCTOR_OTHER_PANEL, command);
    } else {
        Good(id, IDS_DOCTOR_PANEL_GOOD, panel);
    }
}

Text LanguageName(int language) {
    return LoadStringLang(language == kRussian   ? IDS_DOCTOR_RUSSIAN
                          : language == kEnglish ? IDS_DOCTOR_ENGLISH
                                                 : IDS_DOCTOR_LANGUAGE_UNSET);
}

void Doctor::ExamineLanguage() {
    LanguageSettings settings;
    settings.Read();
    if (settings.storedInvalid) {
        Bad(L"language", Health::Warning, IDS_ADVICE_LANGUAGE, IDS_DOCTOR_LANGUAGE_INVALID);
    } else {
        Good(L"language", IDS_DOCTOR_LANGUAGE_GOOD, LanguageName(settings.user.shown),
             LanguageName(settings.machine.shown));
    }
}

}  // namespace

std::vector<Diagnosis> Diagnose(const std::wstring& panel) {
    Doctor doctor;
    doctor.ExamineLibraries();
    doctor.ExamineModules();
    doctor.ExamineProviders();
    doctor.ExamineDefaults();
    doctor.ExamineRights();
    doctor.ExamineService();
    doctor.ExamineDecoders();
    doctor.ExaminePanel(panel);
    doctor.ExamineLanguage();
    return doctor.Take();
}
