#include "settings/SecuritySettings.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "applet/services/SupportLibrary.h"
#include "csp/Providers.h"
#include "framework/Handles.h"

namespace {

constexpr wchar_t kModuleName[] = L"KV Module Name";
constexpr wchar_t kMemoryModule[] = L"kvcspi.dll";
constexpr wchar_t kServiceModule[] = L"kvcspr.dll";

constexpr wchar_t kKeyService[] = L"kvcsp1";
constexpr DWORD kManagerAccess =
    STANDARD_RIGHTS_READ | SC_MANAGER_CONNECT | SC_MANAGER_ENUMERATE_SERVICE | SC_MANAGER_QUERY_LOCK_STATUS;

constexpr UINT kLargestCache = 2457;  // keys; a larger maximum of the provider is not used
constexpr UINT kProposedCache = 8;    // keys, while caching is off

// The names are compared exactly.
ProviderMode ModeOfModule(std::wstring_view moduleName) noexcept {
    if (moduleName == kMemoryModule) return ProviderMode::Memory;
    return moduleName == kServiceModule ? ProviderMode::Service : ProviderMode::Unknown;
}

const wchar_t* ModuleOfMode(ProviderMode mode) noexcept {
    if (mode == ProviderMode::Memory) return kMemoryModule;
    return mode == ProviderMode::Service ? kServiceModule : nullptr;
}

std::wstring ReadDefault(DWORD type, const std::vector<Provider>& installed) {
    std::wstring name = DefaultProviderName(type);
    const bool found = std::any_of(installed.begin(), installed.end(), [&](const Provider& provider) {
        return provider.type == type && provider.name == name;
    });
    return found ? name : std::wstring();
}

Result<> WriteNumber(HCRYPTPROV provider, DWORD parameter, DWORD value) noexcept {
    return Try(CryptSetProvParam(provider, parameter, reinterpret_cast<const BYTE*>(&value), 0));
}

template <class T>
void Keep(Setting<T>& setting) {
    setting.stored = setting.shown;
}

bool WriteCache(SecuritySettings& settings) {
    if (!WriteCacheSize(settings.context.Get(), settings.caching.shown ? settings.cacheSize.shown : 0)) return false;
    Keep(settings.caching);
    Keep(settings.cacheSize);
    return true;
}

bool WriteDiffieHellman(SecuritySettings& settings) {
    const DiffieHellmanControl control = settings.diffieHellman.shown ? kDiffieHellmanOn : kDiffieHellmanOff;
    if (!WriteDiffieHellmanControl(settings.context.Get(), control)) return false;
    Keep(settings.diffieHellman);
    return true;
}

// `succeeded`: whether all writes before succeeded.
bool WriteMode(SecuritySettings& settings, RestartQuestion& question, bool succeeded) {
    const Result<> written = WriteProviderMode(settings.provider.name, settings.mode.shown);
    if (written) {
        Keep(settings.mode);
    } else if (written.Failed().code == static_cast<DWORD>(E_UNEXPECTED)) {
        return false;
    }
    return question.OfferRestart().value_or(succeeded);
}

}  // namespace

void SecuritySettings::ReadDefaults(const std::vector<Provider>& installed) {
    default75.Reset(ReadDefault(kProviderType75, installed));
    default71.Reset(ReadDefault(kProviderType71, installed));
}

void SecuritySettings::ReadSavesMedia() {
    ReadValues<SecuritySettings>(kSecurityValues, *this);
}

void SecuritySettings::Open(const Provider& other) {
    provider = other;
    // A failure leaves the context empty.
    static_cast<void>(context.Acquire(kContextForSettings, nullptr, provider.name.c_str(), provider.type));
    mode.Reset(ModeOfModule(ReadProviderText(provider.name, kModuleName).value_or(L"")));
    ReadCache();
    ReadDiffieHellman();
}

void SecuritySettings::ReadCache() {
    cacheMaximum = 0;
    cacheAvailable = false;
    if (!context) return;
    const auto cache = ReadParameter<CacheRecord>(context.Get(), kParameterCache);
    if (!cache || cache->maximum == 0) return;
    cacheMaximum = std::min<UINT>(cache->maximum, kLargestCache);
    cacheAvailable = cache->available != 0;
    const bool on = cache->size != 0;
    caching.Reset(on);
    cacheSize = {.shown = on ? cache->size : kProposedCache, .stored = cache->size};
}

void SecuritySettings::ReadDiffieHellman() {
    diffieHellmanShown = false;
    DWORD error = ERROR_SUCCESS;
    if (context) {
        const auto record = ReadParameter<DiffieHellmanRecord>(context.Get(), kParameterDiffieHellman);
        if (record) {
            diffieHellmanShown = true;
            diffieHellmanMayChange = record->mayChange != 0;
            diffieHellman.Reset(record->control != kDiffieHellmanOff);
            return;
        }
        error = GetLastError();
    }
    if (error == static_cast<DWORD>(NTE_BAD_TYPE)) {
        // Providers without this parameter always control the operations.
        diffieHellmanMayChange = false;
        diffieHellman.Reset(true);
    } else {
        // A change that was made for the provider configured before must not be written to this one.
        diffieHellman.shown = diffieHellman.stored;
    }
}

Result<> WriteProviderMode(const std::wstring& provider, ProviderMode mode) {
    const wchar_t* const moduleName = ModuleOfMode(mode);
    if (!moduleName || provider.empty()) return Failure{static_cast<DWORD>(E_UNEXPECTED)};
    return WriteProviderText(provider, kModuleName, moduleName);
}

bool IsKeyServiceInstalled() noexcept {
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, kManagerAccess));
    return manager && UniqueService(OpenServiceW(manager.get(), kKeyService, SERVICE_QUERY_STATUS));
}

std::array<RegistryPlace, 2> ProviderModePlaces(const std::wstring& provider) {
    return ProviderTextPlaces(provider, kModuleName);
}

Result<> WriteCacheSize(HCRYPTPROV provider, DWORD size) noexcept {
    return WriteNumber(provider, kParameterCache, size);
}

Result<> WriteDiffieHellmanControl(HCRYPTPROV provider, DiffieHellmanControl control) noexcept {
    return WriteNumber(provider, kParameterDiffieHellman, control);
}

std::optional<UINT> ParseCacheSize(std::wstring_view text) noexcept {
    if (text.empty()) return {};
    std::uint64_t size = 0;
    for (const wchar_t digit : text) {
        if (digit < L'0' || digit > L'9') return {};
        size = size * 10 + static_cast<UINT>(digit - L'0');
        if (size > UINT_MAX) return {};
    }
    return static_cast<UINT>(size);
}

UINT AllowedCacheSize(UINT size, UINT maximum) noexcept {
    return std::min(std::max(size, 1U), maximum);
}

// The provider and the service manager are queried only when the answer matters.
SecurityRights ReadSecurityRights(const SecuritySettings& settings) {
    SecurityRights rights;
    rights.mayWriteProvider = MayWrite(L"\\config\\Provider");
    if (!rights.mayWriteProvider || settings.mode.shown == ProviderMode::Unknown || !settings.context) return rights;
    if (const auto protection = ReadParameter<DWORD>(settings.context.Get(), kParameterProtectionClass)) {
        rights.protectionClass = *protection;
    }
    rights.keyServiceInstalled = rights.protectionClass == kClassKc1 && IsKeyServiceInstalled();
    return rights;
}

bool MayWriteSavesMedia() noexcept {
    return MayWrite(L"\\config\\Parameters");
}

SecurityEnabled EnabledControls(const SecuritySettings& settings, const SecurityRights& rights) noexcept {
    SecurityEnabled enabled;
    enabled.provider = rights.mayWriteProvider;
    if (rights.mayWriteProvider && settings.mode.shown != ProviderMode::Unknown) {
        // Only the lowest class may keep keys in applications, and only there may the service be missing.
        const bool lowest = rights.protectionClass == kClassKc1;
        enabled.serviceMode = !lowest || rights.keyServiceInstalled;
        enabled.memoryMode = lowest;
    }
    enabled.caching = settings.cacheAvailable && settings.mode.shown == ProviderMode::Service;
    enabled.cacheSize = settings.cacheAvailable && settings.caching.shown;
    enabled.diffieHellman = settings.diffieHellmanShown && settings.diffieHellmanMayChange;
    return enabled;
}

SecurityChanges FindChanges(const SecuritySettings& settings) noexcept {
    SecurityChanges changed;
    changed.type75 = settings.default75.Changed();
    changed.type71 = settings.default71.Changed();
    changed.mode = settings.mode.Changed();
    // A size counts only while caching is on and stays on.
    const bool sizeCounts = settings.caching.shown && settings.caching.stored;
    changed.caching =
        settings.cacheMaximum != 0 && (settings.caching.Changed() || (sizeCounts && settings.cacheSize.Changed()));
    changed.diffieHellman = settings.diffieHellman.Changed();
    changed.saveMedia = settings.savesMedia.Changed();
    return changed;
}

bool WriteSecurity(SecuritySettings& settings, RestartQuestion& question) {
    if (settings.cacheMaximum != 0) {
        settings.cacheSize.shown = AllowedCacheSize(settings.cacheSize.shown, settings.cacheMaximum);
    }
    const SecurityChanges changed = FindChanges(settings);
    bool succeeded = true;
    if (changed.caching || changed.mode) {
        if (!settings.context) return true;
        succeeded = WriteCache(settings);
    }
    if (changed.diffieHellman) {
        if (!settings.context) return succeeded;
        succeeded = WriteDiffieHellman(settings) && succeeded;
    }
    if (changed.type71 && WriteDefaultProvider(kProviderType71, settings.default71.shown)) Keep(settings.default71);
    if (changed.type75 && WriteDefaultProvider(kProviderType75, settings.default75.shown)) Keep(settings.default75);
    if (changed.mode) succeeded = WriteMode(settings, question, succeeded);
    if (!changed.saveMedia) return succeeded;
    return WriteChanged<SecuritySettings>(kSecurityValues, settings).result && succeeded;
}
