// The rows of settings that the product's providers have.
#include <algorithm>

#include "console/settings/SettingRows.h"
#include "csp/CryptProvContext.h"
#include "csp/ProviderParameters.h"
#include "csp/Providers.h"
#include "settings/AlgorithmSettings.h"
#include "settings/SecuritySettings.h"

namespace {

using Text = std::wstring;
using Value = SettingValue;
using Problems = SettingProblems;
using Checked = CheckedSetting;

// --- Algorithms ----------------------------------------------------------------------------------------------------

// A provider's context with one of its parameters.
struct AlgorithmChoice {
    std::shared_ptr<CCryptProvContext> context;
    AlgorithmParameter parameter;

    const Text& Identifier(int choice) const { return parameter.entries[static_cast<size_t>(choice)].identifier; }
    Result<> Write(int choice) {
        parameter.choice.stored = -1;  // written even if it is the one that was read
        parameter.choice.shown = choice;
        const Result<> written = Try(CryptSetProvParam(context->Get(), parameter.valueParameter,
                                                       parameter.entries[static_cast<size_t>(choice)].value.data(), 0));
        parameter.choice.stored = choice;
        return written;
    }
};

// The provider is asked first, since it may keep the choice elsewhere, too; then the section is made as it was.
Result<SavedPlaces> SaveAlgorithm(const std::shared_ptr<AlgorithmChoice>& choice, int stored) {
    Result<std::unique_ptr<SavedPlace>> section = SaveSection(kAlgorithmSection);
    if (!section) return section.Failed();
    SavedPlaces places;
    places.push_back(*std::move(section));
    places.push_back(SaveInProvider([choice, stored]() -> Result<> {
        const Result<> read = choice->parameter.Read(choice->context->Get());
        if (read && choice->parameter.choice.stored == stored) return {};
        return choice->Write(stored);
    }));
    return places;
}

SettingRow AlgorithmRow(const char* name, DWORD type, const std::shared_ptr<AlgorithmChoice>& choice) {
    const int stored = choice->parameter.choice.stored;
    SettingRow row{.name = SettingName(name, std::to_wstring(type)),
                   .stored = choice->Identifier(stored),
                   .check = {},
                   .write = {},
                   .save = [=] { return SaveAlgorithm(choice, stored); },
                   .afterPutBack = {}};
    row.check = [choice, rowName = row.name](const Value& value, const SettingRow::Find&) {
        std::vector<Text> allowed;
        for (const auto& entry : choice->parameter.entries) allowed.push_back(entry.identifier);
        return Checked{rowName}
            .RequireOneOf(value, allowed)
            .Require(MayWriteOrCreate(kAlgorithmSection), SettingObstacle::NoRight)
            .problems;
    };
    row.write = [choice](const Value& value) -> Result<> {
        const auto& entries = choice->parameter.entries;
        const auto found = std::find_if(entries.begin(), entries.end(),
                                        [&](const auto& entry) { return entry.identifier == TextIn(value); });
        if (found == entries.end()) return Failure{ERROR_INVALID_DATA};
        return choice->Write(static_cast<int>(found - entries.begin()));
    };
    return row;
}

}  // namespace

void AddAlgorithmRows(std::vector<SettingRow>& rows, const std::wstring& provider) {
    for (const DWORD type : {kProviderType75, kProviderType71}) {
        const auto context = std::make_shared<CCryptProvContext>();
        if (!context->Acquire(kContextForSettings, nullptr, provider.c_str(), type)) continue;
        for (const AlgorithmKind& kind : kAlgorithmKinds) {
            const auto choice = std::make_shared<AlgorithmChoice>(
                AlgorithmChoice{context, AlgorithmParameter{kind.list, kind.value, {}, {}}});
            if (choice->parameter.Read(context->Get())) rows.push_back(AlgorithmRow(kind.name, type, choice));
        }
    }
}

// --- Security ------------------------------------------------------------------------------------------------------

namespace {

using Security = std::shared_ptr<SecuritySettings>;  // with one provider open

constexpr wchar_t kServiceMode[] = L"service", kMemoryMode[] = L"memory";

SavePlaces SavesBoth(const std::array<RegistryPlace, 2>& places) {
    return SavesRegistry({places.begin(), places.end()});
}

Value ModeValue(ProviderMode mode) {
    if (mode == ProviderMode::Unknown) return {};
    return Text(mode == ProviderMode::Service ? kServiceMode : kMemoryMode);
}

void AddCacheRow(std::vector<SettingRow>& rows, const Security& settings) {
    if (settings->cacheMaximum == 0) return;
    const auto stored = DWORD{settings->cacheSize.stored};
    const Text mode = SettingName("security.mode", settings->provider.name);
    SettingRow row{.name = SettingName("security.cache", settings->provider.name),
                   .stored = std::int64_t{stored},
                   .check = {},
                   .write =
                       [settings](const Value& value) {
                           return WriteCacheSize(settings->context.Get(),
                                                 static_cast<DWORD>(std::get<std::int64_t>(value)));
                       },
                   .save = SavesInProvider([=]() -> Result<> {
                       settings->ReadCache();
                       if (settings->cacheMaximum != 0 && settings->cacheSize.stored == stored) return {};
                       return WriteCacheSize(settings->context.Get(), stored);
                   }),
                   .afterPutBack = {}};
    row.check = [=, name = row.name](const Value& value, const SettingRow::Find& document) {
        Checked checked{name};
        checked.RequireNumber(value, 0, settings->cacheMaximum);
        if (value == Value(std::int64_t{0})) return checked.problems;
        const Value* wantedMode = document(mode);
        return checked.Require(settings->cacheAvailable, SettingObstacle::NotOffered)
            .Require(wantedMode && TextIn(*wantedMode) == kServiceMode, SettingObstacle::Conflicting, mode)
            .problems;
    };
    rows.push_back(std::move(row));
}

void AddDiffieHellmanRow(std::vector<SettingRow>& rows, const Security& settings) {
    if (!settings->diffieHellmanShown) return;
    const bool stored = settings->diffieHellman.stored;
    const auto write = [settings](bool on) {
        return WriteDiffieHellmanControl(settings->context.Get(), on ? kDiffieHellmanOn : kDiffieHellmanOff);
    };
    SettingRow row{.name = SettingName("security.diffieHellman", settings->provider.name),
                   .stored = stored,
                   .check = {},
                   .write = [write](const Value& value) { return write(std::get<bool>(value)); },
                   .save = SavesInProvider([=]() -> Result<> {
                       settings->ReadDiffieHellman();
                       if (settings->diffieHellmanShown && settings->diffieHellman.stored == stored) return {};
                       return write(stored);
                   }),
                   .afterPutBack = {}};
    row.check = [name = row.name, mayChange = settings->diffieHellmanMayChange](const Value& value,
                                                                                const SettingRow::Find&) {
        return Checked{name}.RequireFlag(value).Require(mayChange, SettingObstacle::NotOffered).problems;
    };
    rows.push_back(std::move(row));
}

void AddDefaultRow(std::vector<SettingRow>& rows, DWORD type, const std::vector<Provider>& installed,
                   const Text& stored) {
    std::vector<Text> allowed;
    for (const Provider& provider : installed) {
        if (provider.type == type) allowed.push_back(provider.name);
    }
    allowed.emplace_back();
    rows.push_back({.name = SettingName("security.defaultProvider", std::to_wstring(type)),
                    .stored = TextOrNothing(stored),
                    .check =
                        [=](const Value& value, const SettingRow::Find&) {
                            return Checked{SettingName("security.defaultProvider", std::to_wstring(type))}
                                .RequireOneOf(value, allowed)
                                .Require(MayWriteDefaultProvider(type), SettingObstacle::NoRight)
                                .problems;
                        },
                    .write = [=](const Value& value) { return WriteDefaultProvider(type, TextIn(value)); },
                    .save = SavesBoth(DefaultProviderPlaces(type)),
                    .afterPutBack = {}});
}

Problems CheckMode(const Text& name, const SecuritySettings& settings, const Value& value,
                   const SettingRow::Find& document) {
    const SecurityRights rights = ReadSecurityRights(settings);
    const SecurityEnabled enabled = EnabledControls(settings, rights);
    const Text cache = SettingName("security.cache", settings.provider.name);
    const Value* cacheSize = document(cache);
    const bool cached = cacheSize && *cacheSize != Value(std::int64_t{0});
    Checked checked{name};
    checked.RequireOneOf(value, {kServiceMode, kMemoryMode}).Require(rights.mayWriteProvider, SettingObstacle::NoRight);
    if (!rights.mayWriteProvider) return checked.problems;
    const Text wanted = TextIn(value);
    if (wanted == kMemoryMode) {
        checked.Require(enabled.memoryMode, SettingObstacle::NotOffered)
            .Require(!cached, SettingObstacle::Conflicting, cache);
    }
    if (wanted == kServiceMode && rights.protectionClass == kClassKc1) {
        checked.Require(enabled.serviceMode, SettingObstacle::NoModule, L"kvcsp1");
    } else if (wanted == kServiceMode) {
        checked.Require(enabled.serviceMode, SettingObstacle::NotOffered);
    }
    return checked.problems;
}

void AddModeRow(std::vector<SettingRow>& rows, const Security& settings) {
    const Text provider = settings->provider.name, name = SettingName("security.mode", provider);
    rows.push_back(
        {.name = name,
         .stored = ModeValue(settings->mode.stored),
         .needsRestart = true,
         .check = [=](const Value& value,
                      const SettingRow::Find& document) { return CheckMode(name, *settings, value, document); },
         .write =
             [provider](const Value& value) {
                 const bool service = TextIn(value) == kServiceMode;
                 return WriteProviderMode(provider, service ? ProviderMode::Service : ProviderMode::Memory);
             },
         .save = SavesBoth(ProviderModePlaces(provider)),
         .afterPutBack = {}});
}

}  // namespace

void AddSecurityRows(std::vector<SettingRow>& rows) {
    std::vector<Security> providers;
    for (const Provider& provider : ListOwnProviders()) {
        providers.push_back(std::make_shared<SecuritySettings>());
        providers.back()->Open(provider);
    }
    for (const Security& settings : providers) {
        AddCacheRow(rows, settings);
        AddDiffieHellmanRow(rows, settings);
    }
    SecuritySettings machine;
    const std::vector<Provider> installed = ListInstalledProviders();
    machine.ReadDefaults(installed);
    AddDefaultRow(rows, kProviderType71, installed, machine.default71.stored);
    AddDefaultRow(rows, kProviderType75, installed, machine.default75.stored);
    for (const Security& settings : providers) AddModeRow(rows, settings);
    machine.ReadSavesMedia();
    rows.push_back(RowOf<SecuritySettings>(kSecurityValues[0], machine, MayWriteSavesMedia()));
}
