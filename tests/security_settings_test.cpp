// What of the Security page's settings is written in which order, and what stays changed after a failure.
#include <gtest/gtest.h>

#include <set>

#include "settings/SecuritySettings.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/LibraryFunction.h"

namespace {

using Names = std::set<std::string>;

std::string log;
Names refused;

bool Note(const std::string& what, const std::string& value = {}) {
    log += what + (value.empty() ? "" : " " + value) + "; ";
    return !refused.contains(what);
}

BOOL WINAPI SetParameter(HCRYPTPROV, DWORD parameter, const BYTE* data, DWORD) {
    const DWORD number = *reinterpret_cast<const DWORD*>(data);
    if (parameter == kParameterCache) return Note("cache", std::to_string(number));
    return Note("Diffie-Hellman", number == kDiffieHellmanOn ? "on" : "off");
}

// The keys of 32-bit programs are written second, and not logged.
LSTATUS WINAPI OpenKey(HKEY, LPCWSTR key, DWORD, REGSAM access, PHKEY opened) {
    const std::wstring_view path = key;
    *opened = nullptr;
    if ((access & KEY_WOW64_32KEY) != 0 || path.find(L"Wow6432Node") != path.npos) return ERROR_SUCCESS;
    for (const auto& [end, name] :
         {std::pair{L"Type 071", "type 71"}, {L"Type 075", "type 75"}, {L"Provider\\provider", "mode"}})
        if (path.ends_with(end)) return Note(name) ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
    return ERROR_FILE_NOT_FOUND;  // the support library's path
}

LSTATUS WINAPI SetValue(HKEY, LPCWSTR, DWORD, DWORD, const BYTE*, DWORD) {
    return ERROR_SUCCESS;
}

DWORD PutFlag(const wchar_t*, BOOL off) {
    return Note("media", off ? "off" : "on") ? ERROR_SUCCESS : ERROR_ACCESS_DENIED;
}

struct Question final : RestartQuestion {
    explicit Question(std::optional<bool> result) : restart(result) {}
    std::optional<bool> OfferRestart() override {
        Note("restart?");
        return restart;
    }
    std::optional<bool> restart;
};

// Saves with these writes refused, and returns what was written.
std::string Save(SecuritySettings& settings, const Names& refuse, std::optional<bool> restart, bool succeeds) {
    const ImportPatch parameter(nullptr, "CryptSetProvParam", &SetParameter), open(nullptr, "RegOpenKeyExW", &OpenKey),
        value(nullptr, "RegSetValueExW", &SetValue);
    const LibraryFunction store("support_registry_put_bool", &PutFlag);
    log.clear();
    refused = refuse;
    Question question(restart);
    EXPECT_EQ(WriteSecurity(settings, question), succeeds);
    return log;
}

TEST(SecuritySettings, AreWrittenInOrderAndKeepWhatWasWritten) {
    const Names all = {"cache", "Diffie-Hellman", "type 71", "type 75", "mode", "media"};
    const std::string first = "cache 0; Diffie-Hellman off; type 71; type 75; ",
                      whole = first + "mode; restart?; media off; ", again = "cache 0; mode; restart?; ";
    const struct {
        const char* name;
        Names changed, refused;
        std::string log;
        bool succeeds;
        std::string again = "";  // what a second save writes
        std::optional<bool> restart = {};
        bool provider = true;
        ProviderMode mode = ProviderMode::Memory;
    } cases[] = {
        {"everything", all, {}, whole, true},
        {"the mode", {"mode"}, {}, "cache 8; mode; restart?; ", true},
        {"no provider", all, {}, "", true, "", {}, false},
        {"the provider refuses", all, {"cache", "Diffie-Hellman"}, whole, false, "cache 0; Diffie-Hellman off; "},
        {"the registry refuses a default", all, {"type 75"}, whole, true, "type 75; "},
        {"the store refuses, after a restart", all, {"media"}, whole, false, "media off; ", true},
        {"the registry refuses the mode", all, {"mode"}, whole, true, again},
        {"a mode without a module",
         all,
         {},
         first + "media off; ",
         false,
         "cache 0; ",
         {},
         true,
         ProviderMode::Unknown},
        {"a restart decides alone", all, {"cache"}, whole, true, "cache 0; ", true},
        {"a refused restart", all, {}, whole, false, "", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto is = [&](const char* name) { return c.changed.contains(name); };
        SecuritySettings settings;
        if (c.provider) {
            EXPECT_TRUE(settings.context.Acquire(CRYPT_VERIFYCONTEXT, nullptr, nullptr, PROV_RSA_FULL));
        }
        settings.provider.name = L"provider";
        settings.cacheMaximum = 64;
        settings.default75 = {is("type 75") ? L"" : L"name", L"name"};
        settings.default71 = {is("type 71") ? L"" : L"name", L"name"};
        settings.mode = {c.mode, is("mode") ? ProviderMode::Service : c.mode};
        settings.caching = {!is("cache"), true};
        settings.cacheSize.Reset(8);
        settings.diffieHellman = {!is("Diffie-Hellman"), true};
        settings.savesMedia = {!is("media"), true};
        EXPECT_EQ(Save(settings, c.refused, c.restart, c.succeeds), c.log);
        // A mode that can't be written fails again.
        EXPECT_EQ(Save(settings, {}, {}, c.mode != ProviderMode::Unknown), c.again);
    }
    EXPECT_EQ(AllowedCacheSize(0, 64), 1u);
    EXPECT_EQ(ParseCacheSize(L"4294967298"), std::nullopt);
    EXPECT_EQ(WriteProviderMode(L"none", ProviderMode::Unknown).Failed().code, DWORD(E_UNEXPECTED));
}

}  // namespace
