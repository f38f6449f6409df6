#include "console/settings/SettingRows.h"

#include <optional>
#include <utility>

#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"
#include "settings/InputTimeouts.h"
#include "settings/LanguageSettings.h"
#include "settings/TlsSettings.h"
#include "settings/WinlogonSettings.h"

namespace {

using Text = std::wstring;
using Value = SettingValue;
using Problems = SettingProblems;
using Checked = CheckedSetting;

// --- General -------------------------------------------------------------------------------------------------------

struct Language {
    LANGID id;
    const wchar_t* name;
};
constexpr Language kLanguages[] = {{kRussian, L"ru"}, {kEnglish, L"en"}};

void AddLanguage(std::vector<SettingRow>& rows, const char* name, const wchar_t* path, int stored, bool mayWrite) {
    SettingRow row{.name = Widen(name),
                   .stored = {},
                   .check = {},
                   .write = {},
                   .save = SavesParameters({path}),
                   .afterPutBack = {}};
    for (const Language& language : kLanguages) {
        if (stored == language.id) row.stored = Text(language.name);
    }
    row.check = [=, rowName = row.name](const Value& value, const SettingRow::Find&) {
        return Checked{rowName}
            .RequireOneOf(value, {L"ru", L"en", L""})
            .Require(mayWrite, SettingObstacle::NoRight)
            .problems;
    };
    row.write = [path](const Value& value) {
        for (const Language& language : kLanguages) {
            if (TextIn(value) == language.name) return TryCode(support_registry_put_long(path, language.id));
        }
        return TryCode(RemoveParameter(path));
    };
    rows.push_back(std::move(row));
}

}  // namespace

void AddLanguageRows(std::vector<SettingRow>& rows) {
    LanguageSettings settings;
    settings.Read();
    // A missing language of the machine is shown as English, although the product uses the system's then.
    LONG stored = 0;
    const bool isStored = support_registry_get_long(LanguageSettings::kMachinePath, &stored) == 0;
    AddLanguage(rows, "language.machine", LanguageSettings::kMachinePath, isStored ? settings.machine.shown : 0,
                settings.mayWriteMachine);
    AddLanguage(rows, "language.user", LanguageSettings::kUserPath, settings.user.shown, settings.mayWriteUser);
}

// --- Advanced ------------------------------------------------------------------------------------------------------

namespace {

constexpr wchar_t kInfinite[] = L"infinite";

Value TimeoutValue(const std::optional<InputTimeout>& timeout) {
    if (!timeout) return {};
    if (timeout->infinite) return Text(kInfinite);
    return std::int64_t{timeout->seconds};
}

Result<> WriteTimeoutValue(TimeoutLevel level, const Value& value) {
    if (const auto* seconds = std::get_if<std::int64_t>(&value)) {
        return WriteTimeout(level, {.infinite = false, .seconds = static_cast<int>(*seconds)});
    }
    return TextIn(value) == kInfinite ? WriteTimeout(level, {.infinite = true}) : RemoveTimeout(level);
}

Problems CheckTimeout(const Text& name, TimeoutLevel level, const Value& value) {
    Checked checked{name};
    if (std::holds_alternative<std::int64_t>(value)) {
        checked.RequireNumber(value, kLeastTimeout, kMostTimeout);
    } else {
        checked.Require(value == Value() || TextIn(value) == kInfinite, SettingObstacle::NotAllowed,
                        std::to_wstring(kLeastTimeout) + L".." + std::to_wstring(kMostTimeout) + L", infinite, null");
    }
    return checked.Require(MayWriteOrCreate(TimeoutSection(level)), SettingObstacle::NoRight).problems;
}

}  // namespace

void AddTimeoutRows(std::vector<SettingRow>& rows) {
    for (const TimeoutLevel level : {TimeoutLevel::System, TimeoutLevel::User}) {
        const wchar_t* const name = level == TimeoutLevel::System ? L"timeout.system" : L"timeout.user";
        rows.push_back(
            {.name = name,
             .stored = TimeoutValue(ReadTimeout(level)),
             .check = [=](const Value& value, const SettingRow::Find&) { return CheckTimeout(name, level, value); },
             .write = [=](const Value& value) { return WriteTimeoutValue(level, value); },
             .save = SavesParameters(TimeoutPaths(level)),
             .afterPutBack = {}});
    }
}

// --- Winlogon ------------------------------------------------------------------------------------------------------

namespace {

constexpr char kKdcName[] = "winlogon.kdcUsesProduct";

void AddKdcRow(std::vector<SettingRow>& rows, const std::shared_ptr<WinlogonSettings>& settings) {
    if (settings->kdc == KdcSetting::Unavailable) return;
    const Text support = Widen(kWinlogonValues[0].name);
    rows.push_back({.name = Widen(kKdcName),
                    .stored = settings->kdcUsesProduct.stored,
                    .check =
                        [=](const Value& value, const SettingRow::Find& document) {
                            const Value* disabled = document(support);
                            return Checked{Widen(kKdcName)}
                                .RequireFlag(value)
                                .Require(settings->mayWrite, SettingObstacle::NoRight)
                                .Require(value != Value(true) || !disabled || *disabled != Value(true),
                                         SettingObstacle::Conflicting, support)
                                .problems;
                        },
                    .write =
                        [=](const Value& value) {
                            settings->kdcUsesProduct = {.shown = std::get<bool>(value),
                                                        .stored = !std::get<bool>(value)};
                            return settings->Write({});
                        },
                    .save = SavesRegistry({{kKdcKey, kKdcValue}}),
                    .afterPutBack = {}});
}

// The panel takes the product off the KDC when it disables the support at logon. A document has to do so itself.
void AddSupportRow(std::vector<SettingRow>& rows, const WinlogonSettings& settings) {
    SettingRow row = RowOf<WinlogonSettings>(kWinlogonValues[0], settings, settings.mayWrite);
    row.check = [name = row.name, check = row.check](const Value& value, const SettingRow::Find& document) {
        Problems problems = check(value, document);
        const Value* kdc = document(Widen(kKdcName));
        if (value == Value(true) && kdc && *kdc == Value(true)) {
            problems.push_back({name, SettingObstacle::Conflicting, Widen(kKdcName)});
        }
        return problems;
    };
    rows.push_back(std::move(row));
}

void AddReaderRow(std::vector<SettingRow>& rows, const WinlogonSettings& settings, const Text& provider,
                  const Text& stored) {
    std::vector<Text> allowed;
    for (const KeyReader& reader : settings.readers) allowed.push_back(reader.storedName);
    allowed.emplace_back();
    const Text path = DefaultReaderPath(provider), name = SettingName("winlogon.defaultReader", provider);
    rows.push_back({.name = name,
                    .stored = TextOrNothing(stored),
                    .check =
                        [=, mayWrite = settings.mayWrite, enabled = settings.defaultReaderEnabled](
                            const Value& value, const SettingRow::Find&) {
                            return Checked{name}
                                .RequireOneOf(value, allowed)
                                .Require(mayWrite, SettingObstacle::NoRight)
                                .Require(enabled || !mayWrite, SettingObstacle::NotOffered)
                                .problems;
                        },
                    .write =
                        [path](const Value& value) {
                            const Text reader = TextIn(value);
                            return TryCode(reader.empty() ? RemoveParameter(path.c_str())
                                                          : support_registry_put_string(path.c_str(), reader.c_str()));
                        },
                    .save = SavesParameters({path}),
                    .afterPutBack = {}});
}

}  // namespace

void AddWinlogonRows(std::vector<SettingRow>& rows) {
    const auto settings = std::make_shared<WinlogonSettings>();
    settings->Read();
    settings->reader.Reset(WinlogonSettings::kNotSet);
    settings->ListReaders();
    AddKdcRow(rows, settings);
    AddSupportRow(rows, *settings);
    for (const Provider& provider : ListLogonProviders(settings->isDomainController)) {
        WinlogonSettings reader;
        reader.readers = settings->readers;
        Text stored = reader.ReadReader(provider.name);  // of a reader that isn't present
        if (reader.reader.stored > 0) stored = reader.readers[static_cast<size_t>(reader.reader.stored) - 1].storedName;
        AddReaderRow(rows, *settings, provider.name, stored);
    }
}

// --- TLS -----------------------------------------------------------------------------------------------------------

void AddTlsRows(std::vector<SettingRow>& rows) {
    TlsSettings settings;
    settings.Read();
    const bool ocsp = IsOcspInstalled();
    for (const auto& value : kTlsSwitches) {
        const bool missing = !ocsp && NeedsOcsp(value.flag);
        rows.push_back(RowOf(value, settings, settings.mayWrite, missing ? L"kvocsp.dll" : L""));
    }
    for (const auto& value : kTlsLimits) rows.push_back(RowOf(value, settings, settings.mayWrite));
}
