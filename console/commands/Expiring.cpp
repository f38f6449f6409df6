// vestractl expiring
#include <algorithm>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/ContainerFacts.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "console/EndingPeriods.h"
#include "csp/CertificateInstallation.h"
#include "csp/CertificateText.h"
#include "resources/console.h"

namespace {

constexpr wchar_t kPersonalStore[] = L"My";

FILETIME Now() noexcept {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return now;
}

std::wstring OwnerText(KeySet keySet) {
    return LoadStringLang(keySet == KeySet::Computer ? IDS_OWNER_COMPUTER : IDS_OWNER_USER);
}

class Expiring final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        constexpr int kMostDays = 36500;
        parameters.Number("--within", IDS_VALUE_DAYS, IDS_OPTION_WITHIN, days_, 0, kMostDays);
        selection_.DeclareOwners(parameters);
    }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        EndingPeriods periods(Now(), days_);
        bool unreadable = false;
        const ExitCode code = VisitContainers(selection_, session, [&](const FoundContainer& found) {
            if (!found.opened) {
                output.Fail(IDS_OPEN_FAILED, found.place.name, found.opened.Failed());
                unreadable = true;
                return true;
            }
            for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) {
                const UniqueCertificate certificate = ReadKeyCertificate(found.context.Get(), keySpec);
                if (certificate) periods.AddFromContainer(*certificate.get(), found.place);
            }
            return true;
        });
        for (const KeySet keySet : selection_.KeySets()) AddStore(keySet, periods);
        const auto ending = periods.SoonestFirst();
        output.BeginItems(L"expiring");
        for (const EndingPeriod* period : ending) Show(*period, output);
        output.Member(L"days", days_);
        output.Line(FormatStringId(IDS_EXPIRING_SUMMARY, std::to_wstring(days_), std::to_wstring(ending.size())));
        return std::max(code, ending.empty() && !unreadable ? ExitCode::Done : ExitCode::Found);
    }

  private:
    // An owner without the store has no certificates.
    static void AddStore(KeySet keySet, EndingPeriods& periods) {
        const Result<UniqueCertificateStore> store = OpenPersonalStore(keySet);
        if (!store) return;
        UniqueCertificate certificate;
        const auto next = [&] {  // the enumeration releases the certificate that it continues from
            return CertEnumCertificatesInStore(store->get(), certificate.release());
        };
        for (certificate.reset(next()); certificate; certificate.reset(next())) {
            periods.AddFromStore(*certificate.get(), keySet, kPersonalStore);
        }
    }

    static void Show(const EndingPeriod& period, Output& output) {
        const UINT what = period.hasEnded ? (period.ofKey ? IDS_KEY_ENDED : IDS_CERTIFICATE_ENDED)
                                          : (period.ofKey ? IDS_KEY_ENDS : IDS_CERTIFICATE_ENDS);
        output.Line(FormatStringId(what, TimeText(period.end)));
        ShowRow(output, IDS_ROW_CERTIFICATE, CertificateName(*period.certificate.get(), NameForm::X500));
        Value item;
        item.Add(L"what", period.ofKey ? L"key" : L"certificate").Add(L"end", TimeValue(period.end));
        item.Add(L"ended", period.hasEnded).Add(L"certificate", CertificateValue(*period.certificate.get()));
        Value containers = Value::Array(), stores = Value::Array();
        for (const ContainerPlace& place : period.containers) {
            ShowRow(output, IDS_ROW_CONTAINER, place.name + L" (" + OwnerText(place.keySet) + L")");
            containers.Append(PlaceValue(place));
        }
        for (const auto& [keySet, name] : period.stores) {
            ShowRow(output, IDS_ROW_STORE, name + L" (" + OwnerText(keySet) + L")");
            Value store;
            store.Add(L"name", name).Add(L"owner", keySet == KeySet::Computer ? L"computer" : L"user");
            stores.Append(std::move(store));
        }
        item.Add(L"containers", std::move(containers)).Add(L"stores", std::move(stores));
        output.Item(item);
        output.Line(L"");
    }

    ContainerSelection selection_;
    int days_ = 30;
};

}  // namespace

std::unique_ptr<Command> MakeExpiring() {
    return std::make_unique<Expiring>();
}
