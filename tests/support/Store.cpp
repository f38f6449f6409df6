#include "tests/support/Store.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "softcsp/common/Names.h"
#include "softcsp/kvsuprt.h"
#include "tests/support/Directory.h"

namespace {

template <class Function>
Function* StoreFunction(const char* name) {
    static const HMODULE library = LoadLibraryW((ProgramDirectory() + L"kvsuprt.dll").c_str());
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace

StoredNumber::StoredNumber(std::wstring path, std::optional<long> value) : path_(std::move(path)), before_(Get()) {
    Set(value);
}

StoredNumber::~StoredNumber() {
    Set(before_);
}

void StoredNumber::Set(std::optional<long> value) const {
    if (value) {
        StoreFunction<decltype(support_registry_put_long)>("support_registry_put_long")(path_.c_str(), *value);
    } else {
        StoreFunction<decltype(support_registry_delete_param)>("support_registry_delete_param")(path_.c_str());
    }
}

std::optional<long> StoredNumber::Get() const {
    LONG value = 0;
    const auto get = StoreFunction<decltype(support_registry_get_long)>("support_registry_get_long");
    return get(path_.c_str(), &value) == 0 ? std::optional<long>(value) : std::nullopt;
}

ProviderSetting::ProviderSetting(const softcsp::Setting& setting, DWORD value) : setting_(setting) {
    EXPECT_EQ(softcsp::WriteSetting(setting, value), DWORD{ERROR_SUCCESS});
}

ProviderSetting::~ProviderSetting() {
    EXPECT_EQ(softcsp::ClearSetting(setting_), DWORD{ERROR_SUCCESS});
}

Denied::Denied(std::wstring path) : path_(std::move(path)) {
    const DWORD denied = 1;
    EXPECT_EQ(
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, softcsp::kDeniedKey, path_.c_str(), REG_DWORD, &denied, sizeof denied),
        ERROR_SUCCESS)
        << testing::PrintToString(path_) << " is not denied";
}

Denied::~Denied() {
    EXPECT_EQ(RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, softcsp::kDeniedKey, path_.c_str()), ERROR_SUCCESS)
        << testing::PrintToString(path_) << " was not denied any more";
}
