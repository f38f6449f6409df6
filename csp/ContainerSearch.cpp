#include "csp/ContainerSearch.h"

#include "csp/Containers.h"
#include "csp/KeyLink.h"

namespace {

class Search {
  public:
    Search(DWORD keySetFlag, const CERT_CONTEXT& certificate, SearchProgress& progress) noexcept
        : keySetFlag_(keySetFlag), certificate_(certificate), progress_(progress) {}

    // Searches the containers of one provider. `container` is the found container's name.
    SearchEnd SearchProvider(const Provider& provider, std::wstring& container) {
        if (!progress_.Searching(provider.name, {})) return SearchEnd::Stopped;
        CCryptProvContext context;
        if (!context.Acquire(CRYPT_VERIFYCONTEXT | keySetFlag_, nullptr, provider.name.c_str(), provider.type))
            return SearchEnd::NotFound;
        ContainerNames names(context.Get());
        while (names.Next().Into(container)) {
            if (container.empty()) continue;  // an empty name would open the default container
            if (!progress_.Searching(provider.name, container)) return SearchEnd::Stopped;
            if (Matches(provider, container)) return SearchEnd::Found;
        }
        return SearchEnd::NotFound;
    }

  private:
    bool Matches(const Provider& provider, const std::wstring& container) const {
        CCryptProvContext context;
        return context.Acquire(keySetFlag_, container.c_str(), provider.name.c_str(), provider.type) &&
               FindMatchingKey(context.Get(), certificate_) != 0;
    }

    DWORD keySetFlag_;
    const CERT_CONTEXT& certificate_;
    SearchProgress& progress_;
};

}  // namespace

SearchResult SearchContainers(std::span<const Provider> providers, KeySet keySet, const CERT_CONTEXT& certificate,
                              SearchProgress& progress) {
    Search search(FlagOf(keySet), certificate, progress);
    for (std::size_t i = 0; i < providers.size(); ++i) {
        std::wstring container;
        const SearchEnd end = search.SearchProvider(providers[i], container);
        if (end == SearchEnd::Found) return {end, i, std::move(container)};
        if (end == SearchEnd::Stopped) return {end};
    }
    return {};
}
