// The settings of the Winlogon page: the product's support for logon and for the Kerberos key distribution center
// (KDC), and the default key reader of each of the product's providers.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "csp/Providers.h"
#include "settings/StoredValue.h"

struct KeyReader {
    std::wstring name;        // as shown to the user
    std::wstring storedName;  // identifies the reader in settings
};

// Whether the KDC uses the product's algorithms, as the registry has it.
enum class KdcSetting {
    Unavailable,  // not a domain controller, or the registry key cannot be read
    Off,
    On,
    Missing,  // means on
};

// Where the registry has it, below HKEY_LOCAL_MACHINE.
inline constexpr wchar_t kKdcKey[] = L"SYSTEM\\CurrentControlSet\\Services\\kdc\\Parameters";
inline constexpr wchar_t kKdcValue[] = L"NotChangeDefaultVerifyProvider";  // 1 and above: the system's algorithms

// Where the configuration store has the default reader of a provider.
std::wstring DefaultReaderPath(const std::wstring& provider);

bool IsDomainController() noexcept;

struct WinlogonSettings {
    static constexpr int kNotSet = 0, kUnknown = -1;  // of the reader

    Setting<bool> kdcUsesProduct, supportDisabled;
    // The default reader of the provider that was last given to ReadReader: its position in `readers`, counted from 1;
    // kNotSet: none is stored; kUnknown: the stored one is not among `readers`.
    Setting<int> reader;

    std::vector<KeyReader> readers;  // present now, in the order of ListReaders
    bool readersComplete = false;    // false: a reader did not identify itself, which ended the listing

    KdcSetting kdc = KdcSetting::Unavailable;
    bool isDomainController = false;
    bool mayWrite = false;
    bool defaultReaderEnabled = false;

    // Reads everything but the reader.
    void Read();

    // Lists the readers that are present and have a name to show; none if a library cannot be loaded.
    void ListReaders();

    // Reads the default reader of a provider. If it becomes kUnknown, returns the stored name.
    // `provider` empty: the reader is not set.
    std::wstring ReadReader(const std::wstring& provider);

    bool Changed() const { return kdcUsesProduct.Changed() || supportDisabled.Changed() || reader.Changed(); }

    // Without the product's support at logon the KDC cannot use its algorithms either. Switching the support on again
    // does not restore the KDC's setting.
    void ApplyDependencies();

    bool MayChangeKdc() const { return kdc != KdcSetting::Unavailable && mayWrite && !supportDisabled.shown; }

    // Writes what changed, the reader for `provider`. A value that was written becomes the stored one. Fails with the
    // code of the first write that failed; the others are still written.
    Result<> Write(const std::wstring& provider);

  private:
    Result<> WriteReader(const std::wstring& provider) const;
};

inline constexpr StoredValue<WinlogonSettings> kWinlogonValues[] = {
    {.name = "winlogon.disableSupport",
     .flag = &WinlogonSettings::supportDisabled,
     .path = L"\\config\\Parameters\\DisableWL",
     .form = FlagForm::Positive},
};

// The product's providers that have a default reader. On systems that are not domain controllers, only those that are
// registered with an implementation type are listed, and every provider listed after one that was left out has type 0:
// it cannot be opened.
std::vector<Provider> ListLogonProviders(bool isDomainController);
