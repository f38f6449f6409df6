// Strings of a module's resources and the language they come in, through the support library's exports.
#include "tests/support/SoftcspLibrary.h"

#include <vector>

namespace {

using softcsp_tests::Directory;
using softcsp_tests::Library;
using softcsp_tests::MachineLock;

// Sets both language parameters while a test runs; 0 = not there.
class LanguageSetting {
  public:
    explicit LanguageSetting(const Library& library) : lib_(library) {
        for (std::size_t i = 0; i < 2; ++i)
            if (lib_.registry_get_long(kPaths[i], &before_[i]) != 0) before_[i] = 0;
    }
    ~LanguageSetting() { Set(before_[0], before_[1]); }
    LanguageSetting(const LanguageSetting&) = delete;
    LanguageSetting& operator=(const LanguageSetting&) = delete;

    void Set(LONG local, LONG config) {
        const LONG values[] = {local, config};
        for (std::size_t i = 0; i < 2; ++i)
            values[i] != 0 ? lib_.registry_put_long(kPaths[i], values[i]) : lib_.registry_delete_param(kPaths[i]);
    }

  private:
    static constexpr const wchar_t* kPaths[] = {L"\\local\\Language", L"\\config\\Language"};
    const Library& lib_;
    LONG before_[2] = {};
    MachineLock lock_;
};

TEST(SoftcspText, LanguageIsTheUsersThenTheMachinesThenTheSystems) {
    const Library lib;
    ASSERT_NE(lib.module, nullptr);
    LanguageSetting setting(lib);
    const DWORD system = PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? 1049 : 1033;
    struct {
        LONG local, config;
        DWORD language;
    } const table[] = {{1049, 1033, 1049}, {1033, 1049, 1033}, {0, 1049, 1049},   {0, 1033, 1033},
                       {1058, 1033, 1033}, {1058, 1049, 1049}, {1058, 9, system}, {0, 0, system}};
    for (const auto& row : table) {
        setting.Set(row.local, row.config);
        EXPECT_EQ(lib.wnd_language_update(), 0u);
        EXPECT_EQ(lib.wnd_language_get(), row.language) << row.local << ' ' << row.config;
    }
    setting.Set(1049, 0);
    lib.wnd_language_update();
    setting.Set(1033, 0);
    EXPECT_EQ(lib.wnd_language_get(), 1049u);  // kept
    EXPECT_EQ(lib.wnd_language_done(), 0u);
    EXPECT_EQ(lib.wnd_language_get(), 1033u);
}

using Words = std::vector<WORD>;

// A copy of the library with resources of the test's own, loaded as data.
class ResourceModule {
  public:
    struct Item {
        WORD type, id, language;
        Words words;
    };

    explicit ResourceModule(const std::vector<Item>& items) {
        wchar_t directory[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, directory);
        path_ = directory + (L"softcsp-test-" + std::to_wstring(GetCurrentProcessId()) + L".dll");
        CopyFileW((Directory() + L"kvsuprt.dll").c_str(), path_.c_str(), FALSE);
        const HANDLE update = BeginUpdateResourceW(path_.c_str(), TRUE);
        for (Item item : items)
            UpdateResourceW(update, MAKEINTRESOURCEW(item.type), MAKEINTRESOURCEW(item.id), item.language,
                            item.words.data(), static_cast<DWORD>(item.words.size() * sizeof(WORD)));
        EndUpdateResourceW(update, FALSE);
        module_ = LoadLibraryExW(path_.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    }
    ~ResourceModule() {
        FreeLibrary(module_);
        DeleteFileW(path_.c_str());
    }
    ResourceModule(const ResourceModule&) = delete;
    ResourceModule& operator=(const ResourceModule&) = delete;
    HINSTANCE get() const { return module_; }

  private:
    std::wstring path_;
    HMODULE module_ = nullptr;
};

TEST(SoftcspText, ResourceStringsComeInExactlyTheLanguage) {
    const Library lib;
    ASSERT_NE(lib.module, nullptr);
    // Block 2 holds the strings 16 to 31. The Russian one ends within the third string, and its second is empty.
    const ResourceModule module(
        {{6, 2, 1033, {2, 'H', 'i', 0, 1, 'x', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 'e', 'n', 'd'}},
         {6, 2, 1049, {2, 0x41F, 0x440, 0, 9, 'y'}},
         {6, 3, 1033, {1, 'z'}}});
    ASSERT_NE(module.get(), nullptr);
    struct {
        LONG language;
        UINT id;
        const wchar_t* text;  // null: not found
    } const table[] = {{1033, 16, L"Hi"},  {1033, 17, nullptr}, {1033, 18, L"x"},    {1033, 31, L"end"},
                       {1033, 32, L"z"},   {1033, 33, nullptr}, {1033, 48, nullptr}, {1033, 0x10010, nullptr},
                       {1049, 16, L"Пр"},  {1049, 17, nullptr}, {1049, 18, nullptr}, {1049, 31, nullptr},
                       {1049, 32, nullptr}};
    LanguageSetting setting(lib);
    for (const auto& row : table) {
        setting.Set(row.language, 0);
        lib.wnd_language_update();
        wchar_t buffer[8] = L".......";
        DWORD length = 7;
        const DWORD result = lib.resource_string(module.get(), row.id, buffer, &length);
        EXPECT_EQ(result, row.text != nullptr ? 0u : ERROR_RESOURCE_NAME_NOT_FOUND) << row.language << ' ' << row.id;
        EXPECT_STREQ(buffer, row.text != nullptr ? row.text : L".......") << row.language << ' ' << row.id;
        if (row.text == nullptr) {
            EXPECT_EQ(length, 7u);
        }
    }
}

// A node of a version resource: texts end with a zero, children begin at even words. `lie` is added to its length.
Words Node(const wchar_t* key, const Words& value, bool text, const std::vector<Words>& children, int lie = 0) {
    Words node = {0, static_cast<WORD>(text ? value.size() : value.size() * 2), text};
    node.insert(node.end(), key, key + wcslen(key) + 1);
    if (node.size() % 2 != 0) node.push_back(0);
    node.insert(node.end(), value.begin(), value.end());
    for (const Words& child : children) {
        if (node.size() % 2 != 0) node.push_back(0);
        node.insert(node.end(), child.begin(), child.end());
    }
    node[0] = static_cast<WORD>(static_cast<int>(node.size() * 2) + lie);
    return node;
}

TEST(SoftcspText, VersionStringsComeFromTheLanguageThenTheFirstTranslation) {
    const Library lib;
    ASSERT_NE(lib.module, nullptr);
    const auto block = [](const wchar_t* name, WORD letter, int lie = 0) {
        return Node(name, {}, true,
                    {Node(L"Odd", {'o', 'd', 0}, true, {}), Node(L"ProductName", {letter, 0}, true, {}, lie)});
    };
    const auto version = [](const std::vector<Words>& blocks, WORD first, int lie = 0) {
        return Node(L"VS_VERSION_INFO", Words(26), false,
                    {Node(L"StringFileInfo", {}, true, blocks),
                     Node(L"VarFileInfo", {}, true, {Node(L"Translation", {first, 0x4b0}, false, {})})},
                    lie);
    };
    struct {
        const char* what;
        Words resource;
        const wchar_t *english, *russian;  // null: not found
    } const table[] = {
        {"both", version({block(L"040904B0", 'E'), block(L"041904b0", 'R')}, 0x409), L"E", L"R"},
        {"English only", version({block(L"040904b0", 'E')}, 0x409), L"E", L"E"},
        {"German first", version({block(L"040704b0", 'G'), block(L"041904b0", 'R')}, 0x407), L"G", L"R"},
        {"translation of no block", version({block(L"040704b0", 'G')}, 0x409), nullptr, nullptr},
        {"longer than its bytes", version({block(L"040904b0", 'E')}, 0x409, 100), nullptr, nullptr},
        {"string longer than its block", version({block(L"040904b0", 'E', 100)}, 0x409), nullptr, nullptr},
        {"a header and no more", {6, 0, 0}, nullptr, nullptr},
        {"length of nothing", {0, 0, 0, 0}, nullptr, nullptr},
    };
    LanguageSetting setting(lib);
    for (const auto& row : table) {
        const ResourceModule module({{16, 1, 0, row.resource}});
        for (const LONG language : {1033, 1049}) {
            setting.Set(language, 0);
            lib.wnd_language_update();
            const wchar_t* expected = language == 1033 ? row.english : row.russian;
            wchar_t buffer[4] = L"...";
            DWORD length = 3;
            const DWORD result = lib.resource_version_string(L"productname", module.get(), buffer, &length);
            EXPECT_EQ(result, expected != nullptr ? 0u : ERROR_RESOURCE_NAME_NOT_FOUND) << row.what << language;
            EXPECT_STREQ(buffer, expected != nullptr ? expected : L"...") << row.what << language;
        }
    }
}

}  // namespace
