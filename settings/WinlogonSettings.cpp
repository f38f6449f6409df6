#include "settings/WinlogonSettings.h"

#include <wincrypt.h>

#include <algorithm>

#include "applet/services/DeviceLibraries.h"
#include "applet/services/SupportLibrary.h"
#include "csp/Providers.h"
#include "framework/Handles.h"

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

namespace {

constexpr DWORD kMostKind = 64;  // characters of a nickname

// Registers the readers with both libraries. The destructor ends the registration.
class RegisteredReaders : NonCopyable {
  public:
    RegisteredReaders() noexcept : started_(rdr_register_start(&registration_) == 0) {
        complete_ = started_ && supsys_register_all(&registration_) == 0;
    }
    ~RegisteredReaders() {
        if (started_) supsys_unregister_all(&registration_, 1);
    }
    explicit operator bool() const noexcept { return complete_; }
    ReaderRegistration* Get() noexcept { return &registration_; }

  private:
    ReaderRegistration registration_;
    bool started_;
    bool complete_;
};

using UniqueSearch = UniqueHandle<HANDLE, supsys_find_close>;
using UniqueReader = UniqueHandle<HANDLE, supsys_context_free>;

template <class Function>
bool ReadText(Function query, const UniqueReader& reader, std::wstring& text) {
    return ReadSupportText([&](wchar_t* buffer, DWORD* length) { return query(reader.get(), length, buffer); }, text) ==
           0;
}

bool ReadKind(const UniqueReader& reader, std::wstring& kind) {
    wchar_t text[kMostKind + 1] = L"";
    DWORD length = kMostKind;
    if (supsys_nickname(reader.get(), &length, text) != 0) return false;
    text[kMostKind] = L'\0';
    kind = text;
    return true;
}

// Appends the readers that have a name to show. False when a reader does not identify itself, which ends the listing.
bool ListKeyReaders(std::vector<KeyReader>& readers) {
    const LibraryReference support(SupportLibrary());
    const LibraryReference library(ReaderLibrary());
    if (!support || !library) return true;
    RegisteredReaders registered;
    UniqueSearch search;
    if (!registered || supsys_find_open(registered.Get(), search.put()) != 0) return true;
    for (UniqueReader reader; supsys_find_next(search.get(), reader.put()) == 0;) {
        KeyReader found;
        std::wstring connection;
        if (!ReadKind(reader, found.storedName) || !ReadText(supsys_connect_current, reader, connection)) return false;
        if (!connection.empty()) found.storedName += L'_' + connection;
        if (ReadText(supsys_register_name, reader, found.name)) readers.push_back(std::move(found));
    }
    return true;
}

}  // namespace

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
