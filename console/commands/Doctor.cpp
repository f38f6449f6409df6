// vestractl doctor
#include "console/Doctor.h"

#include <algorithm>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Output.h"
#include "console/Session.h"
#include "resources/console.h"
#include "settings/InstalledProduct.h"

namespace {

class DoctorCommand final : public Command {
  public:
    void Declare(Parameters&) override {}

    ExitCode Run(Session& session) override {
        // In the order of Health.
        static constexpr const wchar_t* kNames[] = {L"ok", L"warning", L"error"};
        static constexpr UINT kTexts[] = {IDS_HEALTH_GOOD, IDS_HEALTH_WARNING, IDS_HEALTH_ERROR};
        Output& output = session.GetOutput();
        std::size_t counts[3] = {};
        output.BeginItems(L"findings");
        for (const Diagnosis& diagnosis : Diagnose(PanelBeside())) {
            const auto health = static_cast<std::size_t>(diagnosis.health);
            ++counts[health];
            std::wstring state = LoadStringLang(kTexts[health]);
            constexpr std::size_t kColumn = 16;  // characters before the finding
            state.resize(std::max(state.size() + 1, kColumn), L' ');
            output.Line(state + diagnosis.found);
            if (!diagnosis.advice.empty()) output.Line(std::wstring(state.size(), L' ') + diagnosis.advice);
            Value item;
            item.Add(L"id", diagnosis.id).Add(L"state", kNames[health]);
            item.Add(L"found", diagnosis.found);
            item.Add(L"advice", diagnosis.advice.empty() ? Value() : Value(diagnosis.advice));
            output.Item(item);
        }
        Value summary;
        for (std::size_t i = 0; i < std::size(counts); ++i) summary.Add(kNames[i], counts[i]);
        output.Member(L"summary", summary);
        output.Line(FormatStringId(IDS_DOCTOR_SUMMARY, std::to_wstring(counts[1]), std::to_wstring(counts[2])));
        return counts[1] + counts[2] > 0 ? ExitCode::Found : ExitCode::Done;
    }
};

}  // namespace

std::unique_ptr<Command> MakeDoctor() {
    return std::make_unique<DoctorCommand>();
}
