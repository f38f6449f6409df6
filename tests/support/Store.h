// The configuration store of the prefix, set and put back.
#pragma once

#include <optional>
#include <string>

#include "softcsp/common/Settings.h"

// Gives a number a value, or removes it (nothing), while the object lives.
class StoredNumber {
  public:
    StoredNumber(std::wstring path, std::optional<long> value);
    ~StoredNumber();
    StoredNumber(const StoredNumber&) = delete;
    StoredNumber& operator=(const StoredNumber&) = delete;

    void Set(std::optional<long> value) const;
    std::optional<long> Get() const;

  private:
    std::wstring path_;
    std::optional<long> before_;
};

// Sets what the software provider reports about itself while the object lives; afterwards it is the default again.
class ProviderSetting {
  public:
    ProviderSetting(const softcsp::Setting& setting, DWORD value);
    ~ProviderSetting();
    ProviderSetting(const ProviderSetting&) = delete;
    ProviderSetting& operator=(const ProviderSetting&) = delete;

  private:
    const softcsp::Setting& setting_;
};

// Takes write and remove access to a path away while the object lives.
class Denied {
  public:
    explicit Denied(std::wstring path);
    ~Denied();
    Denied(const Denied&) = delete;
    Denied& operator=(const Denied&) = delete;

  private:
    std::wstring path_;
};
