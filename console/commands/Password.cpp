// vestractl password
#include <algorithm>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "csp/Containers.h"
#include "resources/console.h"

namespace {

class ChangePasswordCommand final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Argument(IDS_VALUE_NAME, IDS_ARGUMENT_NAME, name_);
        selection_.DeclareOwners(parameters);
    }

    ExitCode Run(Session& session) override {
        selection_.names = {name_};
        ExitCode code = ExitCode::Done;
        const ExitCode found = VisitContainers(selection_, session, [&](const FoundContainer& container) {
            code = Change(container, session);
            return true;
        });
        return std::max(found, code);
    }

  private:
    static ExitCode Change(const FoundContainer& container, Session& session) {
        Output& output = session.GetOutput();
        output.Member(L"container", PlaceValue(container.place));
        const std::wstring& name = container.place.name;
        if (!container.opened) {
            output.Fail(IDS_OPEN_FAILED, name, container.opened.Failed());
            return ExitCode::Failed;
        }
        const Result<> changed = ChangePassword(container.context.Get());
        if (changed) {
            output.Line(FormatStringId(IDS_PASSWORD_CHANGED, name));
            return ExitCode::Done;
        }
        output.Fail(IDS_PASSWORD_FAILED, name, changed.Failed());
        if (IsCancellation(changed.Failed())) session.Cancel();
        return ExitCode::Failed;
    }

    std::wstring name_;
    ContainerSelection selection_;
};

}  // namespace

std::unique_ptr<Command> MakePassword() {
    return std::make_unique<ChangePasswordCommand>();
}
