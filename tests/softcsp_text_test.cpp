// Strings of a module's resources and the language they come in.
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "softcsp/kvsuprt.h"
#include "softcsp/common/ResourceText.h"
#include "tests/support/Directory.h"
#include "tests/support/Store.h"

namespace {

TEST(SoftcspText, LanguageIsTheUsersThenTheMachinesThenTheSystems) {
    const StoredNumber local(L"\\local\\Language", 0), config(L"\\config\\Language", 0);
    const DWORD system = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? 1049 : 1033;
    struct {
        std::optional<long> local, config;
        DWORD language;
    } const table[] = {{1049, 1033, 1049}, {1033, 1049, 1033}, {{}, 1049, 1049},  {{}, 1033, 1033},
                       {1058, 1033, 1033}, {1058, 1049, 1049}, {1058, 9, system}, {{}, {}, system}};
    for (const auto& row : table) {
        local.Set(row.local);
        config.Set(row.config);
        EXPECT_EQ(support_wnd_language_update(), 0u);
        EXPECT_EQ(support_wnd_language_get(), row.language) << row.local.value_or(0) << ' ' << row.config.value_or(0);
    }
    local.Set(system == 1049 ? 1033 : 1049);
    EXPECT_EQ(support_wnd_language_get(), system);  // kept
    EXPECT_EQ(support_wnd_language_done(), 0u);
    EXPECT_NE(support_wnd_language_get(), system);
}

TEST(SoftcspText, ComesInTheLanguageElseAVersionsInTheModules) {
    const UniqueModule panel(
        LoadLibraryExW((ProgramDirectory() + L"vestra.cpl").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE));
    const HMODULE library = GetModuleHandleW(L"kvsuprt.dll"), foreign = GetModuleHandleW(L"ntdll.dll");
    const StoredNumber language(L"\\local\\Language", 0);
    struct {
        HMODULE module;
        const wchar_t* name;  // of a version's value; null: the string `id`
        UINT id;
        const wchar_t *english, *russian;  // null: not found
    } const table[] = {
        {panel.get(), nullptr, IDS_APP_TITLE, L"Vestra CSP Properties", L"Свойства: Vestra CSP"},
        {panel.get(), nullptr, 0x100000 + IDS_APP_TITLE, nullptr, nullptr},
        {panel.get(), nullptr, IDS_APP_TITLE + 15, nullptr, nullptr},
        {library, L"companyname", 0, L"Vestra CSP developers", L"Разработчики Vestra CSP"},
        {library, L"none", 0, nullptr, nullptr},
        {foreign, L"OriginalFilename", 0, L"ntdll.dll", L"ntdll.dll"},  // English only
    };
    for (const auto& row : table)
        for (const LONG id : {1033, 1049}) {
            language.Set(id);
            support_wnd_language_update();
            wchar_t text[64] = L"untouched";
            DWORD length = 63;
            const DWORD result = row.name ? support_resource_version_string(row.name, row.module, text, &length)
                                          : support_resource_string(row.module, row.id, text, &length);
            const wchar_t* expected = id == 1033 ? row.english : row.russian;
            EXPECT_EQ(result, expected ? 0u : ERROR_RESOURCE_NAME_NOT_FOUND) << id << ", row " << &row - table;
            EXPECT_STREQ(text, expected ? expected : L"untouched") << id << ", row " << &row - table;
        }
}

}  // namespace
