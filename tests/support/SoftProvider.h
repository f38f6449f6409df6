// What the tests of the software provider share: its parameters and settings, and containers that its tool creates.
#pragma once

#include "tests/support/Provider.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "softcsp/common/Settings.h"
#include "softcsp/kvcsp/ProviderInterface.h"

constexpr ALG_ID kHash = 0x801E, kCipher = 0x661E;

inline HRESULT Set(HCRYPTPROV provider, DWORD parameter, const void* data) {
    return ErrorOf(CryptSetProvParam(provider, parameter, static_cast<const BYTE*>(data), 0));
}

// The value of a parameter, or the next item of a list. Empty if the call fails, with its code as the last error.
inline TestBytes Parameter(HCRYPTPROV provider, DWORD parameter, DWORD flags = 0) {
    TestBytes value(700);
    auto size = static_cast<DWORD>(value.size());
    value.resize(CryptGetProvParam(provider, parameter, value.data(), &size, flags) ? size : 0);
    return value;
}
inline std::string TextParameter(HCRYPTPROV provider, DWORD parameter, DWORD flags = 0) {
    const TestBytes value = Parameter(provider, parameter, flags);
    return value.empty() ? "" : reinterpret_cast<const char*>(value.data());
}
inline std::optional<DWORD> NumberParameter(HCRYPTPROV provider, DWORD parameter) {
    const auto number = ReadValue<DWORD>(ProviderQuery(provider, parameter));
    return number ? std::optional(*number) : std::nullopt;
}

// Unseals the keys, for which a password may be needed.
inline HRESULT LoadKeys(HCRYPTPROV provider) {
    DWORD loaded = 0, size = sizeof loaded;
    return ErrorOf(CryptGetProvParam(provider, softcsp::kParamLoadKeys, reinterpret_cast<BYTE*>(&loaded), &size, 0));
}

inline HRESULT AddExtension(HCRYPTPROV provider, const char* identifier = "1.2.3", std::string_view value = "x",
                            DWORD critical = 0) {
    const softcsp::ExtensionRequest request{identifier, critical, static_cast<DWORD>(value.size()),
                                            reinterpret_cast<const BYTE*>(value.data())};
    return Set(provider, softcsp::kParamAddExtension, &request);
}

// The result of opening a container without dialogs, or of what the flags demand.
inline HRESULT Acquire(const std::wstring& name, DWORD flags = 0, DWORD type = 75) {
    CCryptProvContext context;
    const auto opened = context.Acquire(flags | CRYPT_SILENT, name.c_str(), nullptr, type);
    return opened ? 0 : static_cast<HRESULT>(opened.Failed().code);
}

// A setting of the provider that has another value while the object exists.
class ChangedSetting {
  public:
    ChangedSetting(const softcsp::Setting& setting, DWORD value) : setting_(setting) { WriteSetting(setting_, value); }
    ~ChangedSetting() { ClearSetting(setting_); }
    ChangedSetting(const ChangedSetting&) = delete;
    ChangedSetting& operator=(const ChangedSetting&) = delete;

  private:
    const softcsp::Setting& setting_;
};

// A container that the provider's tool creates with certificates and removes again. `options` as of "softcsp create";
// `scope` "--machine " for the computer's.
class ToolContainer {
  public:
    explicit ToolContainer(const std::wstring& name, const std::wstring& options = L"", const std::wstring& scope = L"")
        : name_(scope + L'"' + name + L'"') {
        Remove();
        EXPECT_EQ(RunTool(L"create " + name_ + L' ' + options), 0u);
    }
    ~ToolContainer() { Remove(); }
    ToolContainer(const ToolContainer&) = delete;
    ToolContainer& operator=(const ToolContainer&) = delete;

    // As "softcsp set" changes it.
    void Change(const std::wstring& change) const { EXPECT_EQ(RunTool(L"set " + name_ + L' ' + change), 0u); }

  private:
    void Remove() const { RunTool(L"remove " + name_); }

    std::wstring name_;
};
