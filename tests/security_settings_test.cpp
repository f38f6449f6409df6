// What of the Security page's settings is written in which order, and what stays changed after a failure.
#include <gtest/gtest.h>

#include <set>

#include "settings/SecuritySettings.h"

namespace {

using Names = std::set<std::string>;

// Logs what is written, and refuses some of it.
struct Writes final : SecurityWrites {
    explicit Writes(Names refuse = {}, DWORD error = 0, std::optional<bool> result = {})
        : refused(std::move(refuse)), modeError(error), restart(result) {}
    bool Note(const std::string& name, const std::string& value) {
        log += name + " " + value + "; ";
        return !refused.contains(name);
    }
    bool HasProvider() const override { return !refused.contains("provider"); }
    bool WriteCache(DWORD size) override { return Note("cache", std::to_string(size)); }
    bool WriteDiffieHellman(DiffieHellmanControl control) override {
        return Note("Diffie-Hellman", control == kDiffieHellmanOn ? "on" : "off");
    }
    bool WriteDefault(DWORD type, const std::wstring& name) override {
        return Note("type " + std::to_string(type), name.empty() ? "none" : "a name");
    }
    Result<> WriteMode(ProviderMode mode) override {
        Note("mode", mode == ProviderMode::Memory ? "memory" : "another");
        return TryCode(modeError);
    }
    std::optional<bool> OfferRestart() override { return Note("restart", "?"), restart; }
    bool WriteSavesMedia(bool save) override { return Note("media", save ? "on" : "off"); }

    Names refused;
    std::string log;
    DWORD modeError;
    std::optional<bool> restart;
};

TEST(SecuritySettings, AreWrittenInOrderAndKeepWhatWasWritten) {
    const Names all = {"cache", "Diffie-Hellman", "type 71", "type 75", "mode", "media"};
    const std::string first = "cache 0; Diffie-Hellman off; type 71 none; type 75 none; mode memory; ",
                      whole = first + "restart ?; media off; ", again = "cache 0; mode memory; restart ?; ";
    const struct {
        const char* name;
        Names changed, refused;
        std::string log;
        bool succeeds;
        std::string again = "";  // what a second save writes
        DWORD modeError = 0;
        std::optional<bool> restart = {};
    } cases[] = {
        {"everything", all, {}, whole, true},
        {"the mode", {"mode"}, {}, "cache 8; mode memory; restart ?; ", true},
        {"no provider", all, {"provider"}, "", true, whole},
        {"the provider refuses", all, {"cache", "Diffie-Hellman"}, whole, false, "cache 0; Diffie-Hellman off; "},
        {"the registry refuses a default", all, {"type 75"}, whole, true, "type 75 none; "},
        {"the store refuses, after a restart", all, {"media"}, whole, false, "media off; ", 0, true},
        {"the registry refuses the mode", all, {}, whole, true, again, ERROR_ACCESS_DENIED},
        {"a mode without a module", all, {}, first + "media off; ", false, again, DWORD(E_UNEXPECTED)},
        {"a restart decides alone", all, {"cache"}, whole, true, "cache 0; ", 0, true},
        {"a refused restart", all, {}, whole, false, "", 0, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto is = [&](const char* name) { return c.changed.contains(name); };
        SecuritySettings settings;
        settings.cacheMaximum = 64;
        settings.default75 = {is("type 75") ? L"" : L"name", L"name"};
        settings.default71 = {is("type 71") ? L"" : L"name", L"name"};
        settings.mode = {ProviderMode::Memory, is("mode") ? ProviderMode::Service : ProviderMode::Memory};
        settings.caching = {!is("cache"), true};
        settings.cacheSize.Reset(8);
        settings.diffieHellman = {!is("Diffie-Hellman"), true};
        settings.savesMedia = {!is("media"), true};
        Writes writes(c.refused, c.modeError, c.restart);
        EXPECT_EQ(WriteSecurity(settings, writes), c.succeeds);
        EXPECT_EQ(writes.log, c.log);
        Writes second;
        WriteSecurity(settings, second);
        EXPECT_EQ(second.log, c.again);
    }
    EXPECT_EQ(AllowedCacheSize(0, 64), 1u);
    EXPECT_EQ(ParseCacheSize(L"4294967298"), std::nullopt);
    EXPECT_EQ(WriteProviderMode(L"none", ProviderMode::Unknown).Failed().code, DWORD(E_UNEXPECTED));
}

}  // namespace
