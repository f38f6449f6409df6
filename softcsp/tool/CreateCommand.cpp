// "create": a container with all its contents, written at once.
#include "softcsp/tool/Certificates.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

constexpr wchar_t kKeys[] = L"--keys", kCerts[] = L"--certs", kExportable[] = L"--exportable", kUsage[] = L"--usage",
                  kChain[] = L"--chain", kCarrier[] = L"--carrier";
constexpr Option kOptions[] = {kMachine, kProvider,  {kKeys, 1}, {kCerts, 1}, {kExportable}, kPassword,
                               kSubject, kNotBefore, kNotAfter,  {kUsage, 2}, {kChain, 1},   {kCarrier, 1}};

// The extensions of containers with the certificates of authorities.
constexpr char kIntermediates[] = "1.2.643.2.2.37.3.1";
constexpr char kRoots[] = "1.2.643.2.2.37.3.2";
constexpr unsigned long kLongestChain = 9;

// For exchange and signature.
struct Slots {
    bool has[2];
};

Slots ParseSlots(const wchar_t* option, const std::wstring& text) {
    const bool known = text == L"xs" || text == L"x" || text == L"s" || text == L"none";
    if (!known) throw WrongUsage{std::wstring(option) + L" takes xs, x, s or none"};
    return {{text.starts_with(L'x'), text.ends_with(L's')}};
}

std::optional<UsagePeriod> UsageOf(const Options& options) {
    const auto from = options.Value(kUsage), to = options.Value(kUsage, 1);
    if (!from) return std::nullopt;
    const UsagePeriod period{ParseDay(*from), ParseDay(*to)};
    if (CompareFileTime(&*period.from, &*period.to) > 0) throw WrongUsage{L"--usage ends before it begins"};
    return period;
}

struct Plan {
    Slots keys, certificates;
    bool exportable;
    Password password;
    CertificateRequest request;
    std::size_t chain;  // number of authorities
};

Plan ReadPlan(const Options& options, const std::wstring& name) {
    const std::wstring keys = options.Value(kKeys).value_or(L"x");
    Plan plan{ParseSlots(kKeys, keys),
              ParseSlots(kCerts, options.Value(kCerts).value_or(keys)),
              options.Has(kExportable),
              PasswordOf(options),
              ReadRequest(options, SubjectOf(name)),
              0};
    for (const bool signatureKey : {false, true})
        if (plan.certificates.has[signatureKey] && !plan.keys.has[signatureKey])
            throw WrongUsage{L"a certificate without its key"};
    plan.request.usage = UsageOf(options);
    const auto chain = ParseNumber(options.Value(kChain).value_or(L"0"));
    if (!chain || *chain > kLongestChain) throw WrongUsage{L"--chain takes 0 to 9"};
    plan.chain = *chain;
    return plan;
}

void AddChain(Container& container, const std::vector<Authority>& authorities) {
    std::vector<Bytes> certificates;
    for (const Authority& authority : authorities) certificates.push_back(authority.certificate);
    if (certificates.empty()) return;
    container.extensions.push_back({kRoots, 0, EncodeCertificateSequence({certificates[0]})});
    certificates.erase(certificates.begin());
    if (!certificates.empty())
        container.extensions.push_back({kIntermediates, 0, EncodeCertificateSequence(certificates)});
}

Container Build(const Plan& plan, const std::wstring& name, Protection protection) {
    auto created = CreateContainer(name, plan.password, protection);
    if (!created) throw CommandFailure{L"can't create a container", Code(NTE_FAIL)};
    const auto authorities = MakeAuthorities(CommonNameOf(plan.request.subject), plan.chain, plan.request);
    const ParameterSet& digest = *created->container.digest;
    for (const bool signatureKey : {false, true}) {
        if (!plan.keys.has[signatureKey]) continue;
        const KeyPair pair =
            MakeKeyPair(DefaultParameterSet(signatureKey ? ParameterKind::Signature : ParameterKind::Exchange));
        if (!StoreKeyPair(created->container, signatureKey, created->master, pair, digest, plan.exportable))
            throw CommandFailure{L"can't seal a key", Code(NTE_FAIL)};
        if (plan.certificates.has[signatureKey])
            created->container.Key(signatureKey)->certificate = Issue(plan.request, pair, digest, authorities);
    }
    AddChain(created->container, authorities);
    if (!Authenticate(created->container, created->master))
        throw CommandFailure{L"can't authenticate a container", Code(NTE_FAIL)};
    return std::move(created->container);
}

}  // namespace

void RunCreate(Arguments arguments) {
    const Options options(arguments, kOptions, {1, 1});
    const ContainerStore store = StoreOf(options);
    std::wstring name = options.Names()[0];
    if (const auto carrier = options.Value(kCarrier)) {
        name = *carrier + L'\\' + name;
    } else if (name.find(L'\\') == std::wstring::npos) {
        name = std::wstring(kRegistryCarrier) + L'\\' + name;
    }
    ContainerPlace place;
    bool carrierNamed = false;
    Check(store.PlaceForNew(name, place, carrierNamed), L"can't create " + name);
    const Plan plan = ReadPlan(options, place.name);
    Check(store.Create(place, Build(plan, place.name, store.ProtectionOf(place))), L"can't create " + name);
    Print(Stream::Output, L"created " + place.UniqueName() + L"\n");
}

}  // namespace softcsp
