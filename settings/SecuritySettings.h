// What Windows itself has registered of providers: the defaults of their types, and the library that each works with.
// All below HKEY_LOCAL_MACHINE. Programs of 32 bits have a view of their own, which is written along.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>

#include "csp/ProviderParameters.h"

// What the Security page shows and lets the user change, and what follows from it: which controls are enabled, what
// differs from what is stored, what is written in which order. Plain values, no window.

// Where a provider keeps its keys, as the radio buttons count.
constexpr int kModeUnknown = -1;
constexpr int kModeService = 0;  // in the keys storage service
constexpr int kModeMemory = 1;   // in the memory of each application

// The library that a provider works with in each mode, as it is registered.
int ModeOfModule(std::wstring_view moduleName) noexcept;  // exactly these names, in this case
const wchar_t* ModuleOfMode(int mode) noexcept;           // nullptr for an unknown mode

// What the user changes. Check marks are BST_… values; a selection is a position in its list, where 0 is "<Absent>".
struct SecurityValues {
    int type75 = -1;
    int type71 = -1;
    int mode = kModeUnknown;
    int caching = BST_UNCHECKED;
    UINT cacheSize = 0;  // in keys
    int diffieHellman = BST_CHECKED;
    int saveMedia = BST_CHECKED;
};

struct SecurityState {
    SecurityValues now;
    SecurityValues saved;  // what was last read from, or written to, the place where each value is stored

    // What the provider being configured offers.
    UINT cacheMaximum = 0;  // in keys; 0: no caching
    bool cacheAvailable = false;
    bool diffieHellmanShown = false;
    bool diffieHellmanMayChange = false;
};

// Take what a provider answered into the state. `error` is the code of a question that had no answer.
void TakeMode(SecurityState& state, int mode) noexcept;
void TakeCache(SecurityState& state, const std::optional<CacheRecord>& cache) noexcept;
void TakeDiffieHellman(SecurityState& state, const std::optional<DiffieHellmanRecord>& record, DWORD error) noexcept;

// The cache size in a text; nothing when it isn't a number.
std::optional<UINT> CacheSizeIn(std::wstring_view text) noexcept;

// The nearest allowed cache size.
UINT AllowedCacheSize(UINT size, UINT maximum) noexcept;

// What the system says about changing the mode.
struct SecurityRights {
    bool mayWriteProvider = false;
    DWORD protectionClass = 0;  // of the provider; 0: it has none
    bool keyServiceInstalled = false;
};

struct SecurityEnabled {
    bool provider = false;  // the list of providers to configure
    bool serviceMode = false;
    bool memoryMode = false;
    bool caching = false;
    bool cacheSize = false;  // with its label and arrows
    bool diffieHellman = false;

    bool operator==(const SecurityEnabled&) const = default;
};
SecurityEnabled WhatIsEnabled(const SecurityState& state, const SecurityRights& rights) noexcept;

struct SecurityChanges {
    bool type75 = false;
    bool type71 = false;
    bool mode = false;
    bool caching = false;
    bool diffieHellman = false;
    bool saveMedia = false;

    bool Any() const noexcept { return type75 || type71 || mode || caching || diffieHellman || saveMedia; }
};
SecurityChanges WhatChanged(const SecurityState& state) noexcept;

// Where a save writes to. Each returns whether it was written.
class SecurityStores {
  public:
    virtual bool HasProvider() const = 0;
    virtual bool SetCache(DWORD size) = 0;  // 0: off
    virtual bool SetDiffieHellman(DiffieHellmanControl control) = 0;
    virtual bool WriteDefault(DWORD providerType, int selection) = 0;
    virtual LONG WriteMode(int mode) = 0;            // 0, a Win32 code, or a negative HRESULT
    virtual std::optional<bool> OfferRestart() = 0;  // nothing: declined; otherwise whether the restart was started
    virtual bool WriteSaveMedia(bool save) = 0;

  protected:
    ~SecurityStores() = default;
};

// Writes what changed, and takes over into `saved` what was written. False when something that counts was not. Corrects
// the cache size first: it may have been typed in a field that still has the focus.
bool SaveSecurity(SecurityState& state, SecurityStores& stores);

// The name of a provider type; empty when it has none.
std::wstring ProviderTypeName(DWORD type);

// Whether this user may write the default provider of a type.
bool MayWriteDefaultProvider(DWORD type);

// Writes the default provider of a type; an empty name for none. 0, or the Win32 code of the first failure, after which
// nothing more is written.
LSTATUS WriteDefaultProvider(DWORD type, const std::wstring& provider);

// The mode (SecurityState.h) that a provider is registered to work in.
int ReadProviderMode(const std::wstring& provider);

// Writes it. As WriteDefaultProvider, or E_UNEXPECTED when there is no such mode or no provider is named.
LONG WriteProviderMode(const std::wstring& provider, int mode);
