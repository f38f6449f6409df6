// vestractl settings show, export, compare and apply
#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Json.h"
#include "console/Output.h"
#include "console/Session.h"
#include "console/settings/SettingsDocument.h"
#include "console/settings/SettingsFile.h"
#include "framework/Text.h"
#include "resources/console.h"
#include "settings/InstalledProduct.h"

namespace {

MachineSettings ReadMachine() {
    return MachineSettings(PanelBeside());
}

// As in the file: texts in quotes, so that they differ from "null", and visible.
std::wstring Shown(const SettingValue& value) {
    return VisibleText(FromUtf8(JsonText(ValueOf(value))));
}

std::wstring Count(std::size_t count) {
    return std::to_wstring(count);
}

class SettingsShow final : public Command {
  public:
    void Declare(Parameters&) override {}

    ExitCode Run(Session& session) override {
        const SettingEntries entries = ReadMachine().Entries();
        for (const SettingEntry& entry : entries) {
            session.GetOutput().Line(VisibleText(entry.name) + L" = " + Shown(entry.value));
        }
        session.GetOutput().Member(L"settings", SettingsValue(entries));
        return ExitCode::Done;
    }
};

class SettingsExport final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Argument(IDS_VALUE_FILE, IDS_ARGUMENT_SETTINGS_TARGET, file_);
        parameters.Flag("--overwrite", IDS_OPTION_OVERWRITE, overwrite_);
    }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        const SettingEntries entries = ReadMachine().Entries();
        if (const Result<> written = WriteSettingsFile(file_, entries, overwrite_); !written) {
            output.Fail(IDS_SAVE_FILE_FAILED, file_, written.Failed());
            return ExitCode::Failed;
        }
        output.Member(L"file", file_);
        output.Member(L"count", entries.size());
        output.Line(FormatStringId(IDS_SETTINGS_EXPORTED, Count(entries.size())));
        return ExitCode::Done;
    }

  private:
    std::wstring file_;
    bool overwrite_ = false;
};

// What "compare" and "apply" have in common.
class SettingsFileCommand : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Argument(IDS_VALUE_FILE, IDS_ARGUMENT_SETTINGS_FILE, file_);
    }

    ExitCode Run(Session& session) final {
        SettingEntries document;
        if (!ReadSettingsFile(file_, document, session.GetOutput())) return ExitCode::Failed;
        MachineSettings machine = ReadMachine();
        return RunWith(document, machine, session.GetOutput());
    }

  protected:
    virtual ExitCode RunWith(const SettingEntries& document, MachineSettings& machine, Output& output) = 0;

    static void Show(const std::vector<SettingDifference>& differences, const MachineSettings& machine,
                     Output& output) {
        output.BeginItems(L"differences");
        for (const SettingDifference& difference : differences) {
            const bool known = machine.Has(difference.name);
            output.Line(VisibleText(difference.name));
            output.Line(L"  " + LoadStringLang(IDS_SETTING_HERE) + L": " +
                        (known ? Shown(difference.here) : LoadStringLang(IDS_SETTING_ABSENT)));
            output.Line(L"  " + LoadStringLang(IDS_SETTING_THERE) + L": " + Shown(difference.there));
            Value item;
            item.Add(L"name", difference.name).Add(L"known", known);
            item.Add(L"here", ValueOf(difference.here)).Add(L"there", ValueOf(difference.there));
            item.Add(L"needsRestart", difference.needsRestart);
            output.Item(item);
        }
    }

    std::wstring file_;
};

class SettingsCompare final : public SettingsFileCommand {
    ExitCode RunWith(const SettingEntries& document, MachineSettings& machine, Output& output) override {
        const auto differences = machine.Compare(document);
        Show(differences, machine, output);
        output.Line(differences.empty() ? LoadStringLang(IDS_SETTINGS_EQUAL)
                                        : FormatStringId(IDS_SETTINGS_DIFFERENT, Count(differences.size())));
        return differences.empty() ? ExitCode::Done : ExitCode::Found;
    }
};

class SettingsApply final : public SettingsFileCommand {
  public:
    void Declare(Parameters& parameters) override {
        SettingsFileCommand::Declare(parameters);
        parameters.Flag("--dry-run", IDS_OPTION_DRY_RUN, dryRun_);
    }

  private:
    ExitCode RunWith(const SettingEntries& document, MachineSettings& machine, Output& output) override {
        const auto differences = machine.Compare(document);
        Show(differences, machine, output);
        if (!MayApply(document, machine, output)) return ExitCode::Failed;
        if (differences.empty()) {
            output.Line(LoadStringLang(IDS_SETTINGS_EQUAL));
            return ExitCode::Done;
        }
        if (dryRun_) {
            output.Line(FormatStringId(IDS_SETTINGS_WOULD_APPLY, Count(differences.size())));
            ShowRestart(differences, output);
            return ExitCode::Found;
        }
        return Apply(document, machine, output);
    }

    static bool MayApply(const SettingEntries& document, const MachineSettings& machine, Output& output) {
        const SettingProblems problems = machine.Check(document);
        Value list = Value::Array();
        for (const SettingProblem& problem : problems) {
            static constexpr const wchar_t* kNames[] = {L"unknown",    L"notAllowed", L"noRight",
                                                        L"notOffered", L"noModule",   L"conflicting"};
            const auto obstacle = static_cast<UINT>(problem.obstacle);
            const std::wstring message = FormatStringId(IDS_OBSTACLE_UNKNOWN + obstacle, problem.name, problem.detail);
            output.Message(message);
            Value item;
            item.Add(L"name", problem.name).Add(L"problem", kNames[obstacle]);
            item.Add(L"detail", problem.detail).Add(L"message", message);
            list.Append(std::move(item));
        }
        output.Member(L"problems", list);
        return problems.empty();
    }

    ExitCode Apply(const SettingEntries& document, MachineSettings& machine, Output& output) {
        const std::wstring backup = BackupPath(file_);
        if (const Result<> written = WriteSettingsFile(backup, machine.Entries(), false); !written) {
            output.Fail(IDS_BACKUP_FAILED, backup, written.Failed());
            return ExitCode::Failed;
        }
        output.Member(L"backup", backup);
        output.Line(FormatStringId(IDS_SETTINGS_BACKUP, backup));
        const ApplyReport report = machine.Apply(document);
        for (const SettingFailure& failed : report.failed) {
            output.Fail(IDS_SETTING_WRITE_FAILED, failed.name, failed.failure);
        }
        for (const SettingFailure& left : report.notPutBack) {
            output.Fail(IDS_SETTING_NOT_PUT_BACK, left.name, left.failure);
        }
        if (!report.Succeeded()) {
            if (report.notPutBack.empty()) output.Message(LoadStringLang(IDS_SETTINGS_PUT_BACK));
            return ExitCode::Failed;
        }
        output.Line(FormatStringId(IDS_SETTINGS_APPLIED, Count(report.written.size())));
        ShowRestart(report.written, output);
        return ExitCode::Done;
    }

    static void ShowRestart(const std::vector<SettingDifference>& changes, Output& output) {
        Value names = Value::Array();
        std::wstring list;
        for (const SettingDifference& change : changes) {
            if (!change.needsRestart) continue;
            names.Append(change.name);
            list += (list.empty() ? L"" : L", ") + change.name;
        }
        output.Member(L"restart", names);
        if (!list.empty()) output.Line(FormatStringId(IDS_SETTINGS_RESTART, list));
    }

    bool dryRun_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeSettingsShow() {
    return std::make_unique<SettingsShow>();
}
std::unique_ptr<Command> MakeSettingsExport() {
    return std::make_unique<SettingsExport>();
}
std::unique_ptr<Command> MakeSettingsCompare() {
    return std::make_unique<SettingsCompare>();
}
std::unique_ptr<Command> MakeSettingsApply() {
    return std::make_unique<SettingsApply>();
}
