#include "settings/SecuritySettings.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "framework/Handles.h"
#include "framework/Registry.h"
#include "framework/Text.h"

namespace {

constexpr wchar_t kMemoryModule[] = L"kvcspi.dll";
constexpr wchar_t kServiceModule[] = L"kvcspr.dll";

constexpr UINT kLargestCache = 2457;  // keys; what a provider offers beyond it is not used
constexpr UINT kProposedCache = 8;    // keys, while caching is off

bool IsChecked(int mark) noexcept {
    return mark != BST_UNCHECKED;
}

bool SaveCache(SecurityState& state, SecurityStores& stores) {
    const SecurityValues& now = state.now;
    if (!stores.SetCache(IsChecked(now.caching) ? now.cacheSize : 0)) return false;
    state.saved.caching = now.caching;
    state.saved.cacheSize = now.cacheSize;
    return true;
}

bool SaveDiffieHellman(SecurityState& state, SecurityStores& stores) {
    if (!stores.SetDiffieHellman(IsChecked(state.now.diffieHellman) ? kDiffieHellmanOn : kDiffieHellmanOff)) {
        return false;
    }
    state.saved.diffieHellman = state.now.diffieHellman;
    return true;
}

// What can't be written stays changed, and that's all the user sees of it: a default provider counts as a wish.
void SaveDefaults(SecurityState& state, SecurityStores& stores, const SecurityChanges& changed) {
    if (changed.type71 && stores.WriteDefault(kProviderType71, state.now.type71)) state.saved.type71 = state.now.type71;
    if (changed.type75 && stores.WriteDefault(kProviderType75, state.now.type75)) state.saved.type75 = state.now.type75;
}

// `good`: whether all went well before. A registry that refuses the mode (a positive code) doesn't count as a failure:
// the mode stays changed, and the restart is offered all the same. A restart that the user wants decides alone.
bool SaveMode(SecurityState& state, SecurityStores& stores, bool good) {
    const LONG error = stores.WriteMode(state.now.mode);
    if (error < 0) return false;
    if (error == ERROR_SUCCESS) state.saved.mode = state.now.mode;
    return stores.OfferRestart().value_or(good);
}

}  // namespace

int ModeOfModule(std::wstring_view moduleName) noexcept {
    if (moduleName == kMemoryModule) return kModeMemory;
    return moduleName == kServiceModule ? kModeService : kModeUnknown;
}

const wchar_t* ModuleOfMode(int mode) noexcept {
    if (mode == kModeMemory) return kMemoryModule;
    return mode == kModeService ? kServiceModule : nullptr;
}

void TakeMode(SecurityState& state, int mode) noexcept {
    state.now.mode = state.saved.mode = mode;
}

void TakeCache(SecurityState& state, const std::optional<CacheRecord>& cache) noexcept {
    state.cacheMaximum = 0;
    state.cacheAvailable = false;
    if (!cache || cache->maximum == 0) return;
    state.cacheMaximum = std::min<UINT>(cache->maximum, kLargestCache);
    state.cacheAvailable = cache->available != 0;
    const bool on = cache->size != 0;
    state.now.caching = state.saved.caching = on ? BST_CHECKED : BST_UNCHECKED;
    state.saved.cacheSize = cache->size;
    state.now.cacheSize = on ? cache->size : kProposedCache;
}

void TakeDiffieHellman(SecurityState& state, const std::optional<DiffieHellmanRecord>& record, DWORD error) noexcept {
    state.diffieHellmanShown = record.has_value();
    if (record) {
        state.diffieHellmanMayChange = record->mayChange != 0;
        state.now.diffieHellman = record->control != kDiffieHellmanOff ? BST_CHECKED : BST_UNCHECKED;
    } else if (error == static_cast<DWORD>(NTE_BAD_TYPE)) {
        // An older provider, which always watches.
        state.diffieHellmanMayChange = false;
        state.now.diffieHellman = BST_CHECKED;
    } else {
        // What the user set for the provider configured before must not be written to this one.
        state.now.diffieHellman = state.saved.diffieHellman;
        return;
    }
    state.saved.diffieHellman = state.now.diffieHellman;
}

std::optional<UINT> CacheSizeIn(std::wstring_view text) noexcept {
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

SecurityEnabled WhatIsEnabled(const SecurityState& state, const SecurityRights& rights) noexcept {
    const SecurityValues& now = state.now;
    SecurityEnabled enabled;
    enabled.provider = rights.mayWriteProvider;
    if (rights.mayWriteProvider && now.mode != kModeUnknown) {
        // Only the lowest class may keep keys in applications, and only there may the service be missing.
        const bool lowest = rights.protectionClass == kClassKc1;
        enabled.serviceMode = !lowest || rights.keyServiceInstalled;
        enabled.memoryMode = lowest;
    }
    enabled.caching = state.cacheAvailable && now.mode == kModeService;
    enabled.cacheSize = state.cacheAvailable && IsChecked(now.caching);
    enabled.diffieHellman = state.diffieHellmanShown && state.diffieHellmanMayChange;
    return enabled;
}

SecurityChanges WhatChanged(const SecurityState& state) noexcept {
    const SecurityValues &now = state.now, &saved = state.saved;
    SecurityChanges changed;
    changed.type75 = now.type75 != saved.type75;
    changed.type71 = now.type71 != saved.type71;
    changed.mode = now.mode != saved.mode;
    const bool sizeCounts = IsChecked(now.caching) && IsChecked(saved.caching);
    changed.caching =
        state.cacheMaximum != 0 && (now.caching != saved.caching || (sizeCounts && now.cacheSize != saved.cacheSize));
    changed.diffieHellman = now.diffieHellman != saved.diffieHellman;
    changed.saveMedia = now.saveMedia != saved.saveMedia;
    return changed;
}

bool SaveSecurity(SecurityState& state, SecurityStores& stores) {
    if (state.cacheMaximum != 0) state.now.cacheSize = AllowedCacheSize(state.now.cacheSize, state.cacheMaximum);
    const SecurityChanges changed = WhatChanged(state);
    bool good = true;
    if (changed.caching || changed.mode) {
        // Without an open provider the rest is not written either, and nobody is told: the page stays modified.
        if (!stores.HasProvider()) return true;
        good = SaveCache(state, stores);
    }
    if (changed.diffieHellman) {
        if (!stores.HasProvider()) return good;
        good = SaveDiffieHellman(state, stores) && good;
    }
    SaveDefaults(state, stores, changed);
    if (changed.mode) good = SaveMode(state, stores, good);
    if (changed.saveMedia) {
        if (!stores.WriteSaveMedia(IsChecked(state.now.saveMedia))) return false;
        state.saved.saveMedia = state.now.saveMedia;
    }
    return good;
}

namespace {

constexpr wchar_t kTypeKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider Types\\Type %03u";
constexpr wchar_t kProviderKeys[] = L"SOFTWARE\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kProviderKeys32[] = L"SOFTWARE\\Wow6432Node\\Microsoft\\Cryptography\\Defaults\\Provider\\";
constexpr wchar_t kModuleName[] = L"KV Module Name";

std::wstring TypeKey(DWORD type) {
    return FillPlaces(kTypeKeys, {static_cast<unsigned>(type)});
}

LSTATUS Open(const std::wstring& key, REGSAM access, UniqueRegistryKey& opened) {
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, access, opened.put());
}

LSTATUS WriteText(const std::wstring& key, REGSAM access, const wchar_t* value, const std::wstring& text) {
    UniqueRegistryKey opened;
    if (const LSTATUS error = Open(key, access, opened)) return error;
    const auto bytes = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));  // the terminator too
    return RegSetValueExW(opened.get(), value, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), bytes);
}

}  // namespace

std::wstring ProviderTypeName(DWORD type) {
    return ReadRegistryText(HKEY_LOCAL_MACHINE, TypeKey(type), L"TypeName").value_or(std::wstring());
}

bool MayWriteDefaultProvider(DWORD type) {
    UniqueRegistryKey opened;
    return Open(TypeKey(type), KEY_SET_VALUE, opened) == ERROR_SUCCESS;
}

LSTATUS WriteDefaultProvider(DWORD type, const std::wstring& provider) {
    const std::wstring key = TypeKey(type);
    if (const LSTATUS error = WriteText(key, KEY_SET_VALUE, L"Name", provider)) return error;
    return WriteText(key, KEY_SET_VALUE | KEY_WOW64_32KEY, L"Name", provider);
}

int ReadProviderMode(const std::wstring& provider) {
    return ModeOfModule(ReadRegistryText(HKEY_LOCAL_MACHINE, kProviderKeys + provider, kModuleName).value_or(L""));
}

// The view of 32-bit programs is named by its path here: that is where installations have the value.
LONG WriteProviderMode(const std::wstring& provider, int mode) {
    const wchar_t* const moduleName = ModuleOfMode(mode);
    if (!moduleName || provider.empty()) return E_UNEXPECTED;
    if (const LSTATUS error = WriteText(kProviderKeys + provider, KEY_WRITE, kModuleName, moduleName)) return error;
    return WriteText(kProviderKeys32 + provider, KEY_WRITE, kModuleName, moduleName);
}
