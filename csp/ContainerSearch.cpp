#include "csp/ContainerSearch.h"

#include <algorithm>

#include "csp/CryptoValues.h"
#include "csp/KeyLink.h"

namespace {

// Lists the names of a provider's containers.
class ContainerNames {
  public:
    explicit ContainerNames(HCRYPTPROV provider) noexcept : provider_(provider) {}

    // The next name. Fails at the end: any failure ends the listing.
    Result<std::wstring> Next() {
        if (buffer_.empty()) {
            DWORD longest = 0;  // of all names, in bytes
            const Result<> measured =
                Try(CryptGetProvParam(provider_, PP_ENUMCONTAINERS, nullptr, &longest, CRYPT_FIRST));
            if (!measured) return measured.Failed();
            // At least one byte: a call without a buffer would return the length again, and succeed without end.
            buffer_.resize(std::max<DWORD>(longest, 1));
        }
        auto length = static_cast<DWORD>(buffer_.size());
        const Result<> read = Try(CryptGetProvParam(provider_, PP_ENUMCONTAINERS, buffer_.data(), &length, flags_));
        if (!read) return read.Failed();
        flags_ = 0;  // the provider does not accept CRYPT_NEXT here
        return FromAnsi(buffer_);
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
