// vestractl delete
#include <algorithm>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "resources/console.h"

namespace {

class Delete final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Arguments(IDS_VALUE_NAMES, IDS_ARGUMENT_NAMES, selection_.names);
        selection_.DeclareOwners(parameters);
        parameters.Flag("--yes", IDS_OPTION_YES, yes_);
    }

    std::wstring WrongUsage() const override {
        return selection_.names.empty() ? LoadStringLang(IDS_USAGE_NAMES) : std::wstring();
    }

    ExitCode Run(Session& session) override {
        session.GetOutput().BeginItems(L"containers");
        const ExitCode found = VisitContainers(selection_, session, [&](const FoundContainer& container) {
            code_ = std::max(code_, DeleteOne(container, session));
            return code_ != ExitCode::Usage;
        });
        return std::max(found, code_);
    }

  private:
    ExitCode DeleteOne(const FoundContainer& container, Session& session) {
        // One that can't be read can be deleted nevertheless, but not one that isn't there.
        if (!container.opened && container.opened.Failed().Is(static_cast<DWORD>(NTE_BAD_KEYSET)))
            return Fail(IDS_OPEN_FAILED, container.place, container.opened.Failed(), session);
        if (const ExitCode refused = Confirm(container.place.name, session); refused != ExitCode::Done) return refused;
        container.context.Release();
        CCryptProvContext deleted;
        const Result<> done = session.Open(deleted, container.place, CRYPT_DELETEKEYSET);
        if (!done) return Fail(IDS_DELETE_FAILED, container.place, done.Failed(), session);
        session.GetOutput().Line(FormatStringId(IDS_DELETED, container.place.name));
        session.GetOutput().Item(PlaceValue(container.place).Add(L"deleted", true));
        return ExitCode::Done;
    }

    // Done: the container may be deleted.
    ExitCode Confirm(const std::wstring& name, Session& session) const {
        if (yes_) return ExitCode::Done;
        switch (session.Ask(FormatStringId(IDS_DELETE_QUESTION, name))) {
            case Answer::Yes: return ExitCode::Done;
            case Answer::No: return ExitCode::Cancelled;
            case Answer::NoTerminal: break;
        }
        session.GetOutput().Message(FormatStringId(IDS_YES_NEEDED, name));
        return ExitCode::Usage;
    }

    static ExitCode Fail(UINT what, const ContainerPlace& place, Failure why, Session& session) {
        session.GetOutput().FailItem(what, place.name, why);
        session.GetOutput().Item(PlaceValue(place).Add(L"deleted", false).Add(L"error", FailureValue(why)));
        if (IsCancellation(why)) session.Cancel();
        return ExitCode::Failed;
    }

    ContainerSelection selection_;
    bool yes_ = false;
    ExitCode code_ = ExitCode::Done;
};

}  // namespace

std::unique_ptr<Command> MakeDelete() {
    return std::make_unique<Delete>();
}
