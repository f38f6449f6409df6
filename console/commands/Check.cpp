// vestractl check
#include <algorithm>
#include <vector>

#include "applet/services/Strings.h"
#include "console/CheckResult.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "resources/console.h"

namespace {

class Check final : public Command {
  public:
    void Declare(Parameters& parameters) override { selection_.DeclareNames(parameters); }
    std::wstring WrongUsage() const override { return selection_.WrongNames(); }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        output.BeginItems(L"containers");
        const ExitCode listed = VisitContainers(selection_, session, [&](const FoundContainer& container) {
            CheckOne(container, session);
            return true;
        });
        ShowSummary(output);
        return std::max({listed, code_, failed_ > 0 ? ExitCode::Found : ExitCode::Done});
    }

  private:
    void CheckOne(const FoundContainer& container, Session& session) {
        Output& output = session.GetOutput();
        if (!container.opened) {
            ReportUnopened(container, output);
            return;
        }
        const std::optional<CheckResult> result = RunCheck(container.context.Get(), container.place.keySet, session);
        if (!result) return;  // cancelled
        ++checked_;
        if (!result->passed) ++failed_;
        ShowCheck(container.place.name, *result, output);
        output.Item(CheckValue(container.place, *result));
    }

    // A container that is named must be there; of all containers, one that can't be opened is a finding.
    void ReportUnopened(const FoundContainer& container, Output& output) {
        ++failed_;
        if (!selection_.all) code_ = ExitCode::Failed;
        const Failure why = container.opened.Failed();
        output.FailItem(IDS_OPEN_FAILED, container.place.name, why);
        output.Item(PlaceValue(container.place).Add(L"passed", false).Add(L"error", FailureValue(why)));
    }

    void ShowSummary(Output& output) const {
        output.Member(L"summary", Value().Add(L"checked", checked_).Add(L"failed", failed_));
        output.Line(FormatStringId(IDS_CHECK_SUMMARY, std::to_wstring(checked_), std::to_wstring(failed_)));
    }

    ContainerSelection selection_;
    ExitCode code_ = ExitCode::Done;
    int checked_ = 0, failed_ = 0;
};

}  // namespace

std::unique_ptr<Command> MakeCheck() {
    return std::make_unique<Check>();
}
