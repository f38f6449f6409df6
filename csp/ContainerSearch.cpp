#include "csp/ContainerSearch.h"

#include <algorithm>

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"

namespace {

// The names of a provider's containers, one after the other.
class ContainerNames {
  public:
    explicit ContainerNames(HCRYPTPROV provider) noexcept : provider_(provider) {}

    // False at the end, which is the first call that fails. Names are read into a buffer of the size that the provider
    // tells once, for its longest; it never has no room, which would ask for the size again, for ever.
    bool Next(std::wstring& name) {
        DWORD length = 0;
        if (buffer_.empty()) {
            if (!CryptGetProvParam(provider_, PP_ENUMCONTAINERS, nullptr, &length, CRYPT_FIRST)) return false;
            buffer_.resize(std::max<DWORD>(length, 1));
        }
        length = static_cast<DWORD>(buffer_.size());
        if (!CryptGetProvParam(provider_, PP_ENUMCONTAINERS, buffer_.data(), &length, flags_)) return false;
        flags_ = 0;  // CRYPT_NEXT isn't what the provider wants here
        name = FromAnsi(buffer_);
        return true;
    }

  private:
    HCRYPTPROV provider_;
    DWORD flags_ = CRYPT_FIRST;
    Bytes buffer_;
};

class Search {
  public:
    Search(DWORD keySetFlag, const CERT_CONTEXT& certificate, SearchProgress& progress) noexcept
        : keySetFlag_(keySetFlag), certificate_(certificate), progress_(progress) {}

    // Leaves the found container's name in `container`.
    SearchEnd Run(const SearchedProvider& provider, std::wstring& container) {
        if (!progress_.Searching(provider.name, {})) return SearchEnd::Stopped;
        CCryptProvContext context;
        if (!context.Acquire(CRYPT_VERIFYCONTEXT | keySetFlag_, nullptr, provider.name.c_str(), provider.type))
            return SearchEnd::NotFound;
        ContainerNames names(context.Get());
        while (names.Next(container)) {
            if (container.empty()) continue;  // what can't be read would open the default container
            if (!progress_.Searching(provider.name, container)) return SearchEnd::Stopped;
            if (Matches(provider, container)) return SearchEnd::Found;
        }
        return SearchEnd::NotFound;
    }

  private:
    bool Matches(const SearchedProvider& provider, const std::wstring& container) const {
        CCryptProvContext context;
        return context.Acquire(keySetFlag_, container.c_str(), provider.name.c_str(), provider.type) &&
               FindMatchingKey(context.Get(), certificate_) != 0;
    }

    DWORD keySetFlag_;
    const CERT_CONTEXT& certificate_;
    SearchProgress& progress_;
};

}  // namespace

SearchResult SearchContainers(std::span<const SearchedProvider> providers, KeySet keySet,
                              const CERT_CONTEXT& certificate, SearchProgress& progress) {
    Search search(FlagOf(keySet), certificate, progress);
    for (std::size_t i = 0; i < providers.size(); ++i) {
        std::wstring container;
        const SearchEnd end = search.Run(providers[i], container);
        if (end == SearchEnd::Found) return {end, i, std::move(container)};
        if (end == SearchEnd::Stopped) return {end};
    }
    return {};
}
