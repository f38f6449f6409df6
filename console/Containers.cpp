#include "console/Containers.h"

#include <algorithm>
#include <deque>

#include "applet/services/Strings.h"
#include "csp/Containers.h"
#include "csp/ProviderParameters.h"
#include "csp/Providers.h"
#include "resources/console.h"

void ContainerSelection::DeclareOwners(Parameters& parameters) {
    parameters.Flag("--user", IDS_OPTION_USER, user);
    parameters.Flag("--computer", IDS_OPTION_COMPUTER, computer);
    parameters.Option("--provider", IDS_VALUE_PROVIDER, IDS_OPTION_PROVIDER, provider);
}

void ContainerSelection::DeclareNames(Parameters& parameters) {
    parameters.Arguments(IDS_VALUE_NAMES, IDS_ARGUMENT_NAMES, names);
    parameters.Flag("--all", IDS_OPTION_ALL, all);
    DeclareOwners(parameters);
}

std::wstring ContainerSelection::WrongNames() const {
    if (all == names.empty()) return {};
    return LoadStringLang(all ? IDS_USAGE_NAMES_AND_ALL : IDS_USAGE_NAMES_OR_ALL);
}

std::vector<KeySet> ContainerSelection::KeySets() const {
    std::vector<KeySet> keySets;
    if (user || !computer) keySets.push_back(KeySet::User);
    if (computer) keySets.push_back(KeySet::Computer);
    return keySets;
}

namespace {

bool SameName(const std::wstring& one, const std::wstring& other) noexcept {
    return CompareStringOrdinal(one.c_str(), static_cast<int>(one.size()), other.c_str(),
                                static_cast<int>(other.size()), TRUE) == CSTR_EQUAL;
}

Result<std::vector<Provider>> NamedProvider(const std::wstring& wanted) {
    for (Provider& provider : ListInstalledProviders())
        if (SameName(provider.name, wanted)) return std::vector{std::move(provider)};
    return Failure{static_cast<DWORD>(NTE_KEYSET_NOT_DEF)};
}

// Visits the containers of a selection.
class Visitor {
  public:
    Visitor(Session& session, const ContainerVisitor& visit) : session_(session), visit_(visit) {}

    void VisitNamed(const ContainerSelection& selection, const std::vector<Provider>& providers) {
        // A context of each provider keeps its library loaded. Otherwise the system loads it for each container, and
        // unloading it changes the error code of a container that can't be opened.
        std::deque<CCryptProvContext> loaded;
        for (const Provider& provider : providers)
            static_cast<void>(session_.Open(loaded.emplace_back(), {provider.name, provider.type, KeySet::User, {}},
                                            CRYPT_VERIFYCONTEXT));
        std::size_t done = 0;
        for (const std::wstring& name : selection.names) {
            if (session_.Cancelled() || ended_) return;
            if (selection.names.size() > 1) ShowProgress(done++, selection.names.size(), name);
            Find(name, selection.KeySets(), providers);
        }
    }

    void VisitAll(const std::vector<KeySet>& keySets, const std::vector<Provider>& providers) {
        const std::size_t all = session_.GetOutput().ShowsProgress() ? Count(keySets, providers) : 0;
        std::size_t done = 0;
        List(keySets, providers, Report::Failures, [&](ContainerPlace place) {
            ShowProgress(done++, all, place.name);
            CCryptProvContext context;
            const Result<> opened = session_.Open(context, place);
            Visit({std::move(place), opened, context});
        });
    }

    ExitCode Code() const noexcept { return code_; }

  private:
    enum class Report { Failures, Nothing };
    using PlaceVisitor = std::function<void(ContainerPlace place)>;

    void Visit(const FoundContainer& container) { ended_ = !visit_(container); }

    void ShowProgress(std::size_t done, std::size_t all, const std::wstring& name) {
        session_.GetOutput().Progress(done + 1, std::max(all, done + 1), name);
    }

    // The first place with a container of that name; otherwise the failure of the first provider, which is the default.
    void Find(const std::wstring& name, const std::vector<KeySet>& keySets, const std::vector<Provider>& providers) {
        CCryptProvContext context;
        std::optional<Result<>> first;
        for (const KeySet keySet : keySets)
            for (const Provider& provider : providers) {
                const ContainerPlace place{provider.name, provider.type, keySet, name};
                const Result<> opened = Open(context, place);
                if (opened || !opened.Failed().Is(static_cast<DWORD>(NTE_BAD_KEYSET))) {
                    Visit({place, opened, context});
                    return;
                }
                if (!first) first = opened;
            }
        Visit({{providers.front().name, providers.front().type, keySets.front(), name}, *first, context});
    }

    // An empty name would open the default container.
    Result<> Open(CCryptProvContext& context, const ContainerPlace& place) {
        if (place.name.empty()) return Failure{static_cast<DWORD>(NTE_BAD_KEYSET)};
        return session_.Open(context, place);
    }

    void List(const std::vector<KeySet>& keySets, const std::vector<Provider>& providers, Report report,
              const PlaceVisitor& visit) {
        for (const KeySet keySet : keySets)
            for (const Provider& provider : providers) {
                const Result<> listed = ListProvider({provider.name, provider.type, keySet, {}}, visit);
                if (session_.Cancelled() || ended_) return;
                if (listed || report == Report::Nothing) continue;
                session_.GetOutput().Fail(IDS_LISTING_FAILED, provider.name, listed.Failed());
                code_ = ExitCode::Failed;
            }
    }

    Result<> ListProvider(ContainerPlace place, const PlaceVisitor& visit) {
        CCryptProvContext context;
        if (const Result<> opened = session_.Open(context, place, CRYPT_VERIFYCONTEXT); !opened) return opened;
        ContainerNames names(context.Get());
        while (!session_.Cancelled() && !ended_) {
            const Result<> listed = names.Next().Into(place.name);
            if (!listed) return listed.Failed().Is(ERROR_NO_MORE_ITEMS) ? Result<>() : listed;
            if (!place.name.empty()) visit(place);
        }
        return {};
    }

    std::size_t Count(const std::vector<KeySet>& keySets, const std::vector<Provider>& providers) {
        std::size_t count = 0;
        List(keySets, providers, Report::Nothing, [&](const ContainerPlace&) { ++count; });
        return count;
    }

    Session& session_;
    const ContainerVisitor& visit_;
    bool ended_ = false;  // by the visitor
    ExitCode code_ = ExitCode::Done;
};

}  // namespace

Result<std::vector<Provider>> SelectedProviders(const ContainerSelection& selection) {
    if (selection.provider) return NamedProvider(*selection.provider);
    std::vector<Provider> providers = ListProductProviders();
    if (providers.empty()) return Failure{static_cast<DWORD>(NTE_KEYSET_NOT_DEF)};
    std::stable_partition(
        providers.begin(), providers.end(),
        [preferred = DefaultProviderName(kProviderType75)](const Provider& one) { return one.name == preferred; });
    return providers;
}

ExitCode VisitContainers(const ContainerSelection& selection, Session& session, const ContainerVisitor& visit) {
    const Result<std::vector<Provider>> providers = SelectedProviders(selection);
    if (!providers) {
        session.GetOutput().Fail(IDS_NO_PROVIDER, selection.provider.value_or(L""), providers.Failed());
        return ExitCode::Failed;
    }
    Visitor visitor(session, visit);
    if (selection.names.empty()) {
        visitor.VisitAll(selection.KeySets(), *providers);
    } else {
        visitor.VisitNamed(selection, *providers);
    }
    return visitor.Code();
}
