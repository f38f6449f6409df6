// What the installer and the configuration store know of this installation.
#include <windows.h>
#include <msi.h>

#include <gtest/gtest.h>

#include <map>

#include "applet/services/InstalledProduct.h"
#include "applet/services/SupportLibrary.h"
#include "framework/Module.h"
#include "tests/support/Services.h"

namespace {

constexpr wchar_t kPanel[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";
constexpr wchar_t kDefault[] = L"{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}";
constexpr wchar_t kSecond[] = L"{5C71E0A9-2B84-4F3D-9A66-D18E42B70C25}";
constexpr wchar_t kOurs[] = L"{11111111-2222-3333-4444-555555555555}";
constexpr wchar_t kOther[] = L"{00000000-2222-3333-4444-555555555555}";

struct Client {
    const wchar_t* code;
    std::wstring path;
    INSTALLSTATE state = INSTALLSTATE_LOCAL;
};
std::vector<Client> clients;
std::map<std::wstring, std::wstring> properties;  // by product and name

UINT WINAPI Enumerate(LPCWSTR component, DWORD index, LPWSTR code) {
    EXPECT_STREQ(component, kPanel);
    if (index >= clients.size()) return ERROR_NO_MORE_ITEMS;
    lstrcpyW(code, clients[index].code);
    return ERROR_SUCCESS;
}
INSTALLSTATE WINAPI Locate(LPCWSTR code, LPCWSTR component, LPWSTR path, LPDWORD length) {
    EXPECT_STREQ(component, kPanel);
    for (const Client& client : clients) {
        if (lstrcmpW(client.code, code) != 0) continue;
        if (client.path.size() >= *length) return INSTALLSTATE_MOREDATA;
        lstrcpyW(path, client.path.c_str());
        return client.state;
    }
    return INSTALLSTATE_UNKNOWN;
}
UINT WINAPI GetProperty(LPCWSTR code, LPCWSTR name, LPWSTR value, LPDWORD length) {
    const auto found = properties.find(std::wstring(code) + name);
    if (found == properties.end()) return ERROR_UNKNOWN_PRODUCT;
    lstrcpynW(value, found->second.c_str(), static_cast<int>(*length));
    return found->second.size() < *length ? ERROR_SUCCESS : ERROR_MORE_DATA;
}
INSTALLSTATE WINAPI LocateAnywhere(LPCWSTR component, LPWSTR path, LPDWORD length) {
    EXPECT_EQ(*length, DWORD{MAX_PATH});
    lstrcpyW(path, L"C:\\console.msc");
    return lstrcmpW(component, kOurs) == 0 ? INSTALLSTATE_LOCAL : INSTALLSTATE_ABSENT;
}

class Installed : public testing::Test {
  protected:
    LibraryFunction enumerate{"MsiEnumClientsW", &Enumerate};
    LibraryFunction locate{"MsiGetComponentPathW", &Locate};
    LibraryFunction property{"MsiGetProductInfoW", &GetProperty};
    LibraryFunction component{"MsiLocateComponentW", &LocateAnywhere};
};

TEST_F(Installed, TheProductWhosePanelIsThisModule) {
    const std::wstring self = Module::FileName();
    std::wstring upper = self;
    CharUpperW(upper.data());
    struct Case {
        std::vector<Client> clients;
        const wchar_t* code;
    };
    const Case cases[] = {
        {{}, kDefault},
        {{{kOurs, self}}, kOurs},
        {{{kOurs, upper}}, kOurs},
        {{{kOther, L"C:\\other\\vestra.cpl"}, {kOurs, self}}, kOurs},
        {{{kOther, self, INSTALLSTATE_ABSENT}, {kOurs, self}}, kOurs},
        {{{kOther, self, INSTALLSTATE_SOURCE}}, kDefault},
        {{{kOther, std::wstring(MAX_PATH, L'p')}, {kOurs, self}}, kOurs},
        {{{kOther, L""}}, kDefault},
    };
    for (const Case& c : cases) {
        clients = c.clients;
        EXPECT_EQ(InstalledProduct().Code(), c.code) << &c - cases;
    }
    clients = {{kOurs, self}};
    for (const char* name : {"MsiEnumClientsW", "MsiGetComponentPathW"}) {
        const LibraryFunction none(name, nullptr);
        EXPECT_EQ(InstalledProduct().Code(), kDefault) << name;
    }
}

TEST_F(Installed, PropertiesOfTheProductElseOfTheSecondOne) {
    clients = {{kOurs, Module::FileName()}};
    const std::wstring ours = kOurs, second = kSecond, longest(255, L'v');
    properties = {{ours + L"A", L"1 %s"},        {second + L"A", L"2"},
                  {second + L"B", L"2"},         {ours + L"C", L""},
                  {second + L"C", L"2"},         {ours + L"D", longest},
                  {ours + L"E", longest + L"v"}, {std::wstring(kDefault) + L"F", L"3"}};
    const InstalledProduct product;
    for (const auto& [name, value] : std::map<std::wstring, std::wstring>{
             {L"A", L"1 %s"}, {L"B", L"2"}, {L"C", L"2"}, {L"D", longest}, {L"E", L""}, {L"F", L""}}) {
        EXPECT_EQ(product.Property(name.c_str()), value) << name;
    }
    EXPECT_EQ(product.ComponentFile(kOurs), L"C:\\console.msc");
    EXPECT_EQ(product.ComponentFile(kOther), L"");
}

TEST_F(Installed, TheStoreNamesItsProvider) {
    clients = {{kOurs, Module::FileName()}};
    const std::wstring path = std::wstring(L"\\config\\") + kOurs;
    support_registry_delete_param(path.c_str());
    EXPECT_EQ(InstalledProduct().ProviderName(), L"");
    ASSERT_EQ(support_registry_put_string(path.c_str(), L"Провайдер 75"), 0u);
    EXPECT_EQ(InstalledProduct().ProviderName(), L"Провайдер 75");
    support_registry_delete_param(path.c_str());
    const NoSupport none;
    EXPECT_EQ(InstalledProduct().ProviderName(), L"");
}

}  // namespace
