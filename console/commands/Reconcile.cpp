// vestractl reconcile
#include <algorithm>
#include <deque>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "console/ReconcileSteps.h"
#include "csp/CertificateText.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

// Names in JSON documents, in the order of Mismatch. The string ids are in the same order.
constexpr const wchar_t* kMismatchNames[] = {L"noContainer", L"otherKeyLinked", L"otherKeyHeld",
                                             L"notInStore",  L"noLink",         L"severalContainers"};

std::wstring OwnerText(KeySet keySet) {
    return LoadStringLang(keySet == KeySet::Computer ? IDS_OWNER_COMPUTER : IDS_OWNER_USER);
}

class Reconcile final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Flag("--repair", IDS_OPTION_REPAIR, repair_);
        parameters.Flag("--yes", IDS_OPTION_YES, yes_);
        selection_.DeclareOwners(parameters);
    }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        ExitCode code = ReadLists(session);
        if (session.Cancelled()) return ExitCode::Cancelled;
        const auto findings = FindMismatches(containers_, certificates_, [&](const KeyLink& link, const auto& one) {
            return IsSelected(link) && !session.Cancelled() ? FollowToContainer(link, one, session)
                                                            : LinkTarget::Unknown;
        });
        output.BeginItems(L"findings");
        for (const Finding& finding : findings) code = std::max(code, Handle(finding, session));
        Value summary;
        summary.Add(L"findings", findings.size()).Add(L"repaired", repaired_);
        output.Member(L"summary", summary);
        output.Line(
            FormatStringId(IDS_RECONCILE_SUMMARY, std::to_wstring(findings.size()), std::to_wstring(repaired_)));
        return std::max(code, findings.size() > repaired_ ? ExitCode::Found : ExitCode::Done);
    }

  private:
    ExitCode ReadLists(Session& session) {
        Output& output = session.GetOutput();
        // A failure is reported by the visit of the containers.
        providers_ = SelectedProviders(selection_).ValueOr({});
        for (const Provider& provider : providers_) {
            static_cast<void>(session.Open(loaded_.emplace_back(), {provider.name, provider.type, KeySet::User, {}},
                                           CRYPT_VERIFYCONTEXT));
        }
        ExitCode code = VisitContainers(selection_, session, [&](const FoundContainer& found) {
            Result<HeldContainer> held = found.opened ? ReadHeldContainer(found.context.Get(), found.place)
                                                      : Result<HeldContainer>(found.opened.Failed());
            if (held) {
                containers_.push_back(*std::move(held));
            } else {
                output.Fail(IDS_OPEN_FAILED, found.place.name, held.Failed());
                unreadable_ = true;
            }
            return true;
        });
        if (const Result<> read = ReadStoredCertificates(selection_.KeySets(), certificates_); !read) {
            output.Fail(IDS_STORES_FAILED, {}, read.Failed());
            code = ExitCode::Failed;
        }
        return unreadable_ ? std::max(code, ExitCode::Found) : code;
    }

    bool IsSelected(const KeyLink& link) const {
        return std::any_of(providers_.begin(), providers_.end(), [&](const Provider& provider) {
            return provider.name == link.provider && provider.type == link.providerType;
        });
    }

    ExitCode Handle(const Finding& finding, Session& session) {
        Output& output = session.GetOutput();
        const auto mismatch = static_cast<UINT>(finding.mismatch);
        const CERT_CONTEXT& certificate = *finding.certificate;
        output.Line(LoadStringLang(IDS_MISMATCH_NO_CONTAINER + mismatch));
        ShowRow(output, IDS_ROW_CERTIFICATE, CertificateName(certificate, NameForm::X500));
        Value item;
        item.Add(L"kind", kMismatchNames[mismatch]).Add(L"certificate", CertificateValue(certificate));
        if (finding.stored) ShowStored(*finding.stored, output, item);
        ShowContainers(finding, output, item);
        item.Add(L"repair", finding.repair == Repair::None   ? Value()
                            : finding.repair == Repair::Link ? Value(L"link")
                                                             : Value(L"install"));
        const ExitCode code = Repaired(finding, session, item);
        output.Line(L"");
        output.Item(item);
        return code;
    }

    static void ShowStored(const StoredCertificate& stored, Output& output, Value& item) {
        ShowRow(output, IDS_ROW_STORE, stored.store + L" (" + OwnerText(stored.keySet) + L")");
        Value store;
        store.Add(L"name", stored.store).Add(L"owner", OwnerName(stored.keySet));
        item.Add(L"store", std::move(store));
        if (!stored.link) return;
        ShowRow(output, IDS_ROW_LINK, stored.link->container);
        item.Add(L"link", PlaceValue({stored.link->provider, stored.link->providerType, stored.link->keySet,
                                      stored.link->container}));
    }

    void ShowContainers(const Finding& finding, Output& output, Value& item) const {
        Value list = Value::Array();
        for (const KeyPlace& key : finding.keys) {
            const ContainerPlace& place = containers_[key.container].place;
            ShowRow(output, IDS_ROW_CONTAINER, place.name + L" (" + OwnerText(place.keySet) + L")");
            list.Append(PlaceValue(place).Add(L"key", KeyName(key.keySpec)));
        }
        item.Add(L"containers", std::move(list));
    }

    // Carries out the repair that was asked for and confirmed, and notes it in `item`.
    ExitCode Repaired(const Finding& finding, Session& session, Value& item) {
        Output& output = session.GetOutput();
        if (finding.repair == Repair::None) {
            if (repair_) output.Line(L"  " + LoadStringLang(IDS_REPAIR_BY_PERSON));
            return ExitCode::Done;
        }
        const UINT step = finding.repair == Repair::Link ? IDS_REPAIR_LINK : IDS_REPAIR_INSTALL;
        const std::wstring container = containers_[finding.keys.front().container].place.name;
        output.Line(L"  " + FormatStringId(step, container));
        if (!repair_ || session.Cancelled()) return ExitCode::Done;
        if (!yes_) {
            const Answer answer = session.Ask(FormatStringId(IDS_REPAIR_QUESTION, container));
            if (answer == Answer::NoTerminal) return Refuse(output);
            if (answer == Answer::No) return ExitCode::Done;
        }
        if (const Result<> done = CarryOut(finding, containers_, session); !done) {
            output.FailItem(IDS_REPAIR_FAILED, container, done.Failed());
            item.Add(L"repaired", false).Add(L"error", FailureValue(done.Failed()));
            return ExitCode::Failed;
        }
        output.Line(L"  " + LoadStringLang(IDS_REPAIRED));
        item.Add(L"repaired", true);
        ++repaired_;
        return ExitCode::Done;
    }

    // Once: no later question could be answered either.
    ExitCode Refuse(Output& output) {
        output.Message(LoadStringLang(IDS_REPAIR_NEEDS_YES));
        repair_ = false;
        return ExitCode::Failed;
    }

    static const wchar_t* OwnerName(KeySet keySet) { return keySet == KeySet::Computer ? L"computer" : L"user"; }

    ContainerSelection selection_;
    bool repair_ = false, yes_ = false, unreadable_ = false;
    std::vector<Provider> providers_;
    // Contexts that keep the providers' libraries loaded while links are followed: the system would unload a library
    // when a container can't be opened, and some systems lose the provider's error code then.
    std::deque<CCryptProvContext> loaded_;
    std::vector<HeldContainer> containers_;
    std::vector<StoredCertificate> certificates_;
    std::size_t repaired_ = 0;
};

}  // namespace

std::unique_ptr<Command> MakeReconcile() {
    return std::make_unique<Reconcile>();
}
