#include "settings/WinlogonSettings.h"

#include <wincrypt.h>

#include <algorithm>

#include "applet/services/SupportLibrary.h"
#include "framework/Handles.h"
#include "csp/Providers.h"

namespace {

constexpr DWORD kMostReaderName = 64;  // characters of a stored reader name

Result<> OpenKdcKey(REGSAM access, UniqueRegistryKey& key) noexcept {
    return TryCode(static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kKdcKey, 0, access, key.put())));
}

// A value that is not a number counts as missing.
KdcSetting ReadKdc() noexcept {
    UniqueRegistryKey key;
    if (!OpenKdcKey(KEY_QUERY_VALUE, key)) return KdcSetting::Unavailable;
    LONG number = 0;
    DWORD type = 0, size = sizeof number;
    const bool found =
        RegQueryValueExW(key.get(), kKdcValue, nullptr, &type, reinterpret_cast<BYTE*>(&number), &size) == 0 &&
        type == REG_DWORD && size == sizeof number;
    if (!found) return KdcSetting::Missing;
    return number > 0 ? KdcSetting::Off : KdcSetting::On;
}

Result<> WriteKdc(bool usesProduct) noexcept {
    UniqueRegistryKey key;
    if (const Result<> opened = OpenKdcKey(KEY_SET_VALUE, key); !opened) return opened;
    const DWORD number = usesProduct ? 0 : 1;
    return TryCode(static_cast<DWORD>(
        RegSetValueExW(key.get(), kKdcValue, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof number)));
}

}  // namespace

std::wstring DefaultReaderPath(const std::wstring& provider) {
    return L"\\cryptography\\Defaults\\provider\\" + provider + L"\\ReaderDefault";
}

bool IsDomainController() noexcept {
    OSVERSIONINFOEXW version{};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&version)) &&
           version.wProductType == VER_NT_DOMAIN_CONTROLLER;
}

void WinlogonSettings::Read() {
    mayWrite = MayWrite(L"\\config\\Parameters");
    isDomainController = IsDomainController();
    kdc = isDomainController ? ReadKdc() : KdcSetting::Unavailable;
    kdcUsesProduct.Reset(kdc == KdcSetting::On || kdc == KdcSetting::Missing);
    ReadValues<WinlogonSettings>(kWinlogonValues, *this);
    defaultReaderEnabled = mayWrite && FindLong(L"\\config\\Parameters\\EnableDefaultReader", 0) != 0;
    reader.Reset(kUnknown);
}

void WinlogonSettings::ListReaders() {
    readers.clear();
    readersComplete = ListKeyReaders(readers);
}

std::wstring WinlogonSettings::ReadReader(const std::wstring& provider) {
    reader.Reset(kNotSet);
    wchar_t stored[kMostReaderName + 1] = L"";
    DWORD length = kMostReaderName;
    if (provider.empty() ||
        support_registry_get_string(DefaultReaderPath(provider).c_str(), &length, stored) != ERROR_SUCCESS) {
        return {};
    }
    stored[kMostReaderName] = L'\0';
    const auto found = std::find_if(readers.begin(), readers.end(),
                                    [&](const KeyReader& present) { return present.storedName == stored; });
    if (found != readers.end()) {
        reader.Reset(static_cast<int>(found - readers.begin()) + 1);
        return {};
    }
    reader.Reset(kUnknown);
    return stored;
}

void WinlogonSettings::ApplyDependencies() {
    if (supportDisabled.shown) kdcUsesProduct.shown = false;
}

Result<> WinlogonSettings::Write(const std::wstring& provider) {
    Result<> result;
    const auto keepFirst = [&](const Result<>& written) {
        if (result) result = written;
        return static_cast<bool>(written);
    };
    if (kdcUsesProduct.Changed() && keepFirst(WriteKdc(kdcUsesProduct.shown))) {
        kdcUsesProduct.stored = kdcUsesProduct.shown;
    }
    keepFirst(WriteChanged<WinlogonSettings>(kWinlogonValues, *this).result);
    if (reader.Changed() && keepFirst(WriteReader(provider))) reader.stored = reader.shown;
    return result;
}

Result<> WinlogonSettings::WriteReader(const std::wstring& provider) const {
    const std::wstring path = DefaultReaderPath(provider);
    if (reader.shown == kNotSet) {
        support_registry_delete_param(path.c_str());  // fails when none is stored
        return {};
    }
    const auto position = static_cast<size_t>(reader.shown) - 1;
    if (position >= readers.size()) return Failure{ERROR_INVALID_INDEX};
    return TryCode(support_registry_put_string(path.c_str(), readers[position].storedName.c_str()));
}

std::vector<Provider> ListLogonProviders(bool isDomainController) {
    std::vector<Provider> listed;
    bool leftOut = false;
    for (Provider& provider : ListOwnProviders()) {
        if (!isDomainController && !HasProviderValue(provider.name, L"ImpType")) {
            leftOut = true;
            continue;
        }
        if (leftOut) provider.type = 0;
        listed.push_back(std::move(provider));
    }
    return listed;
}
