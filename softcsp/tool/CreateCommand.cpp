// "create": a container with all its contents, written at once.
#include "softcsp/tool/Certificates.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

constexpr wchar_t kKeys[] = L"--keys", kCerts[] = L"--certs", kExportable[] = L"--exportable",
                  kSubject[] = L"--subject", kUsage[] = L"--usage", kChain[] = L"--chain", kCarrier[] = L"--carrier";
constexpr Option kOptions[] = {kMachine,      kProvider,  {kKeys, 1}, {kCerts, 1}, {kExportable}, kPassword,
                               {kSubject, 1}, kNotBefore, kNotAfter,  {kUsage, 2}, {kChain, 1},   {kCarrier, 1}};

// The extensions of containers with the certificates of authorities.
constexpr char kIntermediates[] = "1.2.643.2.2.37.3.1";
constexpr char kRoots[] = "1.2.643.2.2.37.3.2";
constexpr unsigned long kLongestChain = 9;

struct Slots {
    bool exchange = false, signature = false;

    bool Has(bool signatureKey) const { return signatureKey ? signature : exchange; }
};

struct Plan {
    Slots keys, certificates;
    bool exportable = false;
    Password password;
    Order order;
    std::wstring commonName;  // the names of the authorities begin with it
    std::size_t chain = 0;    // number of authorities
};

Slots ParseSlots(const wchar_t* option, const std::wstring& text) {
    const bool known = text == L"xs" || text == L"x" || text == L"s" || text == L"none";
    if (!known) throw WrongUsage{std::wstring(option) + L" takes xs, x, s or none"};
    return {text.starts_with(L'x'), text.ends_with(L's')};
}

std::optional<UsagePeriod> UsageOf(const Options& options) {
    const auto from = options.Value(kUsage), to = options.Value(kUsage, 1);
    if (!from) return std::nullopt;
    const UsagePeriod period{ParseDay(*from), ParseDay(*to)};
    if (CompareFileTime(&period.from, &period.to) > 0) throw WrongUsage{L"--usage ends before it begins"};
    return period;
}

std::size_t ChainOf(const Options& options) {
    const auto count = ParseNumber(options.Value(kChain).value_or(L"0"));
    if (!count || *count > kLongestChain) throw WrongUsage{L"--chain takes 0 to 9"};
    return *count;
}

Plan ReadPlan(const Options& options, const std::wstring& name) {
    Plan plan;
    const std::wstring keys = options.Value(kKeys).value_or(L"x");
    plan.keys = ParseSlots(kKeys, keys);
    plan.certificates = ParseSlots(kCerts, options.Value(kCerts).value_or(keys));
    for (const bool signatureKey : {false, true})
        if (plan.certificates.Has(signatureKey) && !plan.keys.Has(signatureKey))
            throw WrongUsage{L"a certificate without its key"};
    plan.exportable = options.Has(kExportable);
    plan.password = PasswordOf(options);
    plan.order = {options.Value(kSubject).value_or(SubjectOf(name)), ValidityOf(options), UsageOf(options)};
    plan.commonName = CommonNameOf(plan.order.subject);
    plan.chain = ChainOf(options);
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
    if (!created) throw Failure{L"can't create a container", static_cast<DWORD>(NTE_FAIL)};
    const auto authorities = MakeAuthorities(plan.commonName, plan.chain, plan.order.validity);
    const ParameterSet& digest = *created->container.digest;
    for (const bool signatureKey : {false, true}) {
        if (!plan.keys.Has(signatureKey)) continue;
        const KeyPair pair =
            MakeKeyPair(DefaultParameterSet(signatureKey ? ParameterKind::Signature : ParameterKind::Exchange));
        if (!StoreKeyPair(created->container, signatureKey, created->master, pair, digest, plan.exportable))
            throw Failure{L"can't seal a key", static_cast<DWORD>(NTE_FAIL)};
        if (plan.certificates.Has(signatureKey))
            created->container.Key(signatureKey)->certificate = Issue(plan.order, pair, digest, authorities);
    }
    AddChain(created->container, authorities);
    if (!Authenticate(created->container, created->master))
        throw Failure{L"can't authenticate a container", static_cast<DWORD>(NTE_FAIL)};
    return std::move(created->container);
}

}  // namespace

bool RunCreate(Arguments arguments) {
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
    return true;
}

}  // namespace softcsp
