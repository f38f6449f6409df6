// vestractl list
#include <algorithm>
#include <iterator>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/ContainerFacts.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "console/StoreLinks.h"
#include "csp/CertificateText.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

class List final : public Command {
  public:
    void Declare(Parameters& parameters) override { selection_.DeclareOwners(parameters); }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        ExitCode code = ReadLinks(output);
        output.BeginItems(L"containers");
        code = std::max(code, VisitContainers(selection_, session, [&](const FoundContainer& container) {
                            ++count_;
                            const Result<> shown = Show(container, output);
                            if (!shown) ReportUnreadable(container.place, shown.Failed(), output);
                            return true;
                        }));
        Value summary;
        summary.Add(L"containers", count_).Add(L"unreadable", unreadable_);
        output.Member(L"summary", summary);
        output.Line(FormatStringId(IDS_LIST_SUMMARY, std::to_wstring(count_)));
        return unreadable_ > 0 ? std::max(code, ExitCode::Found) : code;
    }

  private:
    // The links in the stores of both owners: a certificate of the user may have a link to a container of the computer.
    ExitCode ReadLinks(Output& output) {
        ExitCode code = ExitCode::Done;
        for (const KeySet keySet : {KeySet::User, KeySet::Computer})
            if (const Result<> read = links_.Read(keySet); !read) {
                output.Fail(IDS_STORES_FAILED, {}, read.Failed());
                code = ExitCode::Failed;
            }
        return code;
    }

    Result<> Show(const FoundContainer& container, Output& output) {
        if (!container.opened) return container.opened;
        const Result<ContainerFacts> facts = ReadContainerFacts(container.context.Get());
        if (!facts) return facts.Failed();
        const bool linked = IsLinked(*facts, container.place);
        ShowRows(*facts, container.place, linked, output);
        if (output.IsJson()) output.Item(ItemOf(*facts, container.place, linked));
        return {};
    }

    bool IsLinked(const ContainerFacts& facts, const ContainerPlace& place) const {
        const std::wstring* const names[] = {&facts.uniqueName, &facts.qualifiedName, &facts.name, &place.name};
        return std::any_of(std::begin(names), std::end(names),
                           [&](const std::wstring* name) { return links_.Has(*name, place.provider, place.keySet); });
    }

    static Value ItemOf(const ContainerFacts& facts, const ContainerPlace& place, bool linked) {
        Value item = PlaceValue({place.provider, place.providerType, place.keySet, facts.name});
        item.Add(L"uniqueName", facts.uniqueName);
        item.Add(L"qualifiedName", facts.qualifiedName);
        item.Add(L"carrier", facts.Carrier());
        Value keys = Value::Array();
        for (const KeyFacts& key : facts.keys) {
            Value one;
            one.Add(L"key", KeyName(key.keySpec));
            if (key.certificate) one.Add(L"certificate", CertificateValue(*key.certificate.get()));
            keys.Append(std::move(one));
        }
        item.Add(L"keys", std::move(keys));
        item.Add(L"linked", linked);
        return item;
    }

    static void ShowRows(const ContainerFacts& facts, const ContainerPlace& place, bool linked, Output& output) {
        if (output.IsJson()) return;
        output.Line(VisibleText(facts.name));
        ShowRow(output, IDS_ROW_UNIQUE_NAME, facts.uniqueName);
        ShowRow(output, IDS_ROW_CARRIER, facts.Carrier());
        ShowRow(output, IDS_ROW_PROVIDER, place.provider);
        ShowRow(output, IDS_ROW_OWNER,
                LoadStringLang(place.keySet == KeySet::Computer ? IDS_OWNER_COMPUTER : IDS_OWNER_USER));
        for (const KeyFacts& key : facts.keys) {
            ShowRow(output, IDS_ROW_KEY, KeyText(key.keySpec));
            if (!key.certificate) continue;
            const CERT_CONTEXT& certificate = *key.certificate.get();
            ShowRow(output, IDS_ROW_SUBJECT, CertificateName(certificate, NameForm::X500));
            ShowRow(output, IDS_ROW_VALID_TO, TimeText(certificate.pCertInfo->NotAfter));
        }
        ShowRow(output, IDS_ROW_LINKED, LoadStringLang(linked ? IDS_YES : IDS_NO));
        output.Line(L"");
    }

    void ReportUnreadable(const ContainerPlace& place, Failure why, Output& output) {
        ++unreadable_;
        output.FailItem(IDS_OPEN_FAILED, place.name, why);
        output.Item(PlaceValue(place).Add(L"error", FailureValue(why)));
    }

    ContainerSelection selection_;
    StoreLinks links_;
    int count_ = 0, unreadable_ = 0;
};

}  // namespace

std::unique_ptr<Command> MakeList() {
    return std::make_unique<List>();
}
