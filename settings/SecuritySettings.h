// The settings of the Security page: the machine's default providers, and what one of the product's providers is
// configured with. Each value is read and written where it belongs: in the Windows registry, in the provider, or in the
// configuration store.
#pragma once

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "csp/Providers.h"
#include "settings/StoredValue.h"

// Where a provider keeps its keys. The values are positions in the group of radio buttons.
enum class ProviderMode {
    Unknown = -1,
    Service = 0,  // in the keys storage service
    Memory = 1,   // in the memory of each application
};

struct SecuritySettings {
    // The machine's default providers of their types; empty: none. Read by ReadDefaults.
    Setting<std::wstring> default75, default71;
    Setting<bool> savesMedia{true, true};  // whether information about removable media is saved

    // Of the provider that is configured; read by Open.
    Setting<ProviderMode> mode{ProviderMode::Unknown, ProviderMode::Unknown};
    Setting<bool> caching;
    Setting<UINT> cacheSize;  // in keys
    Setting<bool> diffieHellman{true, true};
    UINT cacheMaximum = 0;  // in keys; 0: the provider has no cache
    bool cacheAvailable = false;
    bool diffieHellmanShown = false;
    bool diffieHellmanMayChange = false;

    Provider provider;          // empty name: there is none to configure
    CCryptProvContext context;  // empty when the provider could not be opened

    // Defaults that are not among the installed providers count as none.
    void ReadDefaults(const std::vector<Provider>& installed);
    void ReadSavesMedia();

    // Opens another provider to configure, and reads its values. Values that are changed and not written are lost,
    // except for those that the new provider does not have.
    void Open(const Provider& other);
    // Read single values again. Open calls them.
    void ReadCache();
    void ReadDiffieHellman();
};

inline constexpr StoredValue<SecuritySettings> kSecurityValues[] = {
    {.name = "security.saveMedia",
     .flag = &SecuritySettings::savesMedia,
     .path = L"\\config\\Parameters\\DisableShortcuts",
     .missing = 1,
     .form = FlagForm::InvertedBool},
};

// Registers the library that a provider uses in a mode. Fails with a Win32 code, or with E_UNEXPECTED for
// ProviderMode::Unknown or an empty provider name.
Result<> WriteProviderMode(const std::wstring& provider, ProviderMode mode);

// Where the registry has a provider's mode.
std::array<RegistryPlace, 2> ProviderModePlaces(const std::wstring& provider);

// Write values of the open provider; `size` 0: no cache. Fail with the provider's code.
Result<> WriteCacheSize(HCRYPTPROV provider, DWORD size) noexcept;
Result<> WriteDiffieHellmanControl(HCRYPTPROV provider, DiffieHellmanControl control) noexcept;

// The cache size in a text; nothing when the text is not an unsigned decimal number.
std::optional<UINT> ParseCacheSize(std::wstring_view text) noexcept;

// The nearest allowed cache size, from 1 to `maximum`.
UINT AllowedCacheSize(UINT size, UINT maximum) noexcept;

// Whether the keys storage service is installed.
bool IsKeyServiceInstalled() noexcept;

// The rights and system properties that decide whether the mode can be changed.
struct SecurityRights {
    bool mayWriteProvider = false;
    DWORD protectionClass = 0;  // of the provider; 0: none
    bool keyServiceInstalled = false;
};
SecurityRights ReadSecurityRights(const SecuritySettings& settings);

bool MayWriteSavesMedia() noexcept;

struct SecurityEnabled {
    bool provider = false;  // the list of providers to configure
    bool serviceMode = false;
    bool memoryMode = false;
    bool caching = false;
    bool cacheSize = false;  // with its label and arrows
    bool diffieHellman = false;
};
SecurityEnabled EnabledControls(const SecuritySettings& settings, const SecurityRights& rights) noexcept;

struct SecurityChanges {
    bool type75 = false;
    bool type71 = false;
    bool mode = false;
    bool caching = false;
    bool diffieHellman = false;
    bool saveMedia = false;

    bool Any() const noexcept { return type75 || type71 || mode || caching || diffieHellman || saveMedia; }
};
SecurityChanges FindChanges(const SecuritySettings& settings) noexcept;

// Asked after a new mode was written, which takes effect with the next start of Windows.
class RestartQuestion {
  public:
    virtual std::optional<bool> OfferRestart() = 0;  // nothing: declined; otherwise whether the restart was started

  protected:
    ~RestartQuestion() = default;
};

// Writes what changed, in this order: cache, Diffie-Hellman, default providers, mode, media. Returns false when a
// failure is to be reported. A failed write of a default provider is not reported, nor is a mode that the registry
// refuses; they stay changed. A restart that was requested decides the result alone, except for the media. Without an
// open provider a changed cache or mode ends the save, without a report.
//
// Corrects the cache size first: the user may have typed it without leaving the field.
bool WriteSecurity(SecuritySettings& settings, RestartQuestion& question);
