// The configuration store of the prefix, set and put back.
#pragma once

#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"

// Gives a number a value, or removes it (nothing), while the object lives.
class StoredNumber {
  public:
    StoredNumber(std::wstring path, std::optional<long> value) : path_(std::move(path)), before_(Get()) { Set(value); }
    ~StoredNumber() { Set(before_); }
    StoredNumber(StoredNumber&&) = delete;

    void Set(std::optional<long> value) const {
        if (value) {
            softcsp::Store().WriteNumber(path_.c_str(), static_cast<DWORD>(*value));
        } else {
            softcsp::Store().RemoveParameter(path_.c_str());
        }
    }
    std::optional<long> Get() const {
        DWORD value = 0;
        return softcsp::Store().ReadNumber(path_, value) == 0 ? std::optional(static_cast<long>(value)) : std::nullopt;
    }

  private:
    const std::wstring path_;
    const std::optional<long> before_;
};

// Sets what the software provider reports about itself while the object lives; afterwards it is the default again.
class ProviderSetting {
  public:
    ProviderSetting(const softcsp::Setting& setting, DWORD value) : setting_(setting) {
        EXPECT_EQ(WriteSetting(setting, value), 0u);
    }
    ~ProviderSetting() { EXPECT_EQ(ClearSetting(setting_), 0u); }
    ProviderSetting(ProviderSetting&&) = delete;

  private:
    const softcsp::Setting& setting_;
};

// Takes write and remove access to a path away while the object lives.
class Denied {
  public:
    explicit Denied(std::wstring path) : path_(std::move(path)) { EXPECT_EQ(softcsp::Deny(path_.c_str()), 0u); }
    ~Denied() { EXPECT_EQ(softcsp::Allow(path_.c_str()), 0u); }
    Denied(Denied&&) = delete;

  private:
    const std::wstring path_;
};
