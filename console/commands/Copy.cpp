// vestractl copy
#include <algorithm>
#include <vector>

#include "applet/services/Strings.h"
#include "console/CheckResult.h"
#include "console/Commands.h"
#include "console/ContainerFacts.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "csp/ContainerCopy.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

// Why a container was not copied. `what` is a string id with "%1" for `object`.
struct CopyFailure {
    UINT what;
    std::wstring object;
    Failure why;
};

// Removes a new container again. Its keys are in the source, too, so nothing is lost.
void RemoveTarget(CCryptProvContext& target, const ContainerPlace& place, Session& session) {
    target.Release();
    CCryptProvContext removed;
    const Result<> done = session.Open(removed, place, CRYPT_DELETEKEYSET);
    if (!done) session.GetOutput().Fail(IDS_COPY_LEFT, place.name, done.Failed());
}

std::optional<CopyFailure> CopyContainer(const FoundContainer& source, const ContainerPlace& targetPlace,
                                         Session& session) {
    const std::wstring& name = source.place.name;
    ContainerCopy copy;
    const Result<> prepared = copy.OpenVerification(source.place.provider.c_str(), source.place.providerType);
    if (!prepared) return CopyFailure{IDS_COPY_READ_FAILED, name, prepared.Failed()};
    if (const Result<> read = ReadSourceContainer(source.context.Get(), copy); !read) {
        const bool mayNotExport = read.Failed().Is(static_cast<DWORD>(NTE_BAD_KEY_STATE));
        return CopyFailure{static_cast<UINT>(mayNotExport ? IDS_NOT_EXPORTABLE : IDS_COPY_READ_FAILED), name,
                           read.Failed()};
    }
    CCryptProvContext target;
    if (const Result<> created = session.Open(target, targetPlace, kCopyTargetFlags); !created)
        return CopyFailure{IDS_CREATE_FAILED, targetPlace.name, created.Failed()};
    if (const Result<> written = WriteTargetContainer(copy, target.Get()); !written) {
        RemoveTarget(target, targetPlace, session);
        return CopyFailure{IDS_COPY_WRITE_FAILED, targetPlace.name, written.Failed()};
    }
    return {};
}

class Copy final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        selection_.DeclareNames(parameters);
        parameters.Option("--to", IDS_VALUE_CARRIER, IDS_OPTION_TO, carrier_);
        parameters.Flag("--verify", IDS_OPTION_VERIFY, verify_);
    }

    // Without a carrier the second name is the target.
    std::wstring WrongUsage() const override {
        if (carrier_) return selection_.WrongNames();
        return selection_.all || selection_.names.size() != 2 ? LoadStringLang(IDS_USAGE_COPY) : std::wstring();
    }

    ExitCode Run(Session& session) override {
        if (!carrier_) {
            target_ = selection_.names.back();
            selection_.names.pop_back();
        }
        Output& output = session.GetOutput();
        output.BeginItems(L"containers");
        const ExitCode listed = VisitContainers(selection_, session, [&](const FoundContainer& source) {
            CopyOne(source, session);
            return true;
        });
        ShowSummary(session);
        return std::max(listed, code_);
    }

  private:
    void CopyOne(const FoundContainer& source, Session& session) {
        if (!source.opened) {
            Report(source.place, {IDS_OPEN_FAILED, source.place.name, source.opened.Failed()}, session);
            return;
        }
        const Result<ContainerFacts> facts = ReadContainerFacts(source.context.Get());
        if (!facts) {
            Report(source.place, {IDS_COPY_READ_FAILED, source.place.name, facts.Failed()}, session);
            return;
        }
        if (selection_.all && IsSameCarrier(facts->Carrier())) return;  // it is there already
        const ContainerPlace target{source.place.provider, source.place.providerType, source.place.keySet,
                                    carrier_ ? L"\\\\.\\" + *carrier_ + L"\\" + facts->name : target_};
        if (const auto failure = CopyContainer(source, target, session)) {
            Report(source.place, *failure, session);
            return;
        }
        ++copied_;
        Value item = PlaceValue(source.place).Add(L"target", target.name);
        if (verify_) item.Add(L"verified", Verify(target, session));
        session.GetOutput().Line(FormatStringId(IDS_COPIED, source.place.name, target.name));
        session.GetOutput().Item(item);
    }

    bool IsSameCarrier(const std::wstring& carrier) const {
        return CompareStringOrdinal(carrier.c_str(), -1, carrier_->c_str(), -1, TRUE) == CSTR_EQUAL;
    }

    // Opens the copy as another program would, and checks it. A failed check is shown with all its rows.
    bool Verify(const ContainerPlace& target, Session& session) {
        CCryptProvContext context;
        const Result<> opened = session.Open(context, target);
        if (!opened) session.GetOutput().Fail(IDS_OPEN_FAILED, target.name, opened.Failed());
        const auto result =
            opened ? RunCheck(context.Get(), target.keySet, session) : std::optional<CheckResult>(CheckResult{});
        if (!result || result->passed) return result.has_value();
        ShowCheck(target.name, *result, session.GetOutput());
        session.GetOutput().Message(FormatStringId(IDS_COPY_NOT_VERIFIED, target.name));
        code_ = std::max(code_, ExitCode::Found);
        return false;
    }

    // The lines are shown at the end, where they can't be overlooked.
    void Report(const ContainerPlace& source, CopyFailure failure, Session& session) {
        session.GetOutput().Item(PlaceValue(source)
                                     .Add(L"message", FormatStringId(failure.what, failure.object))
                                     .Add(L"error", FailureValue(failure.why)));
        if (IsCancellation(failure.why)) session.Cancel();
        failures_.push_back(std::move(failure));
        code_ = ExitCode::Failed;
    }

    void ShowSummary(Session& session) const {
        Output& output = session.GetOutput();
        const std::size_t failed = failures_.size();
        output.Member(L"summary", Value().Add(L"copied", copied_).Add(L"failed", failed));
        output.Line(FormatStringId(IDS_COPY_SUMMARY, std::to_wstring(copied_), std::to_wstring(failed)));
        for (const CopyFailure& failure : failures_) output.FailItem(failure.what, failure.object, failure.why);
        if (copied_ > 0 && session.IsSilent()) output.Message(LoadStringLang(IDS_COPY_WITHOUT_PASSWORD));
    }

    ContainerSelection selection_;
    std::optional<std::wstring> carrier_;
    bool verify_ = false;
    std::wstring target_;  // the new name; empty with a carrier
    std::vector<CopyFailure> failures_;
    int copied_ = 0;
    ExitCode code_ = ExitCode::Done;
};

}  // namespace

std::unique_ptr<Command> MakeCopy() {
    return std::make_unique<Copy>();
}
