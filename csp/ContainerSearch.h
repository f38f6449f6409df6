// The search for the container whose key is a certificate's, through all containers of some providers.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <cstddef>
#include <span>
#include <string>

#include "csp/CryptProvContext.h"

struct SearchedProvider {
    std::wstring name;
    DWORD type;
};

// Told of each step before it is taken.
class SearchProgress {
  public:
    // `container` is empty while the provider is being opened. False ends the search.
    virtual bool Searching(const std::wstring& provider, const std::wstring& container) = 0;

  protected:
    ~SearchProgress() = default;
};

enum class SearchEnd { Found, NotFound, Stopped };

struct SearchResult {
    SearchEnd end = SearchEnd::NotFound;
    std::size_t provider = 0;  // the found container's, by its position
    std::wstring container{};
};

// Goes through the providers in their order, and in each through its containers in the provider's order, up to the
// first one that has the certificate's key. Providers and containers that can't be opened are passed over.
SearchResult SearchContainers(std::span<const SearchedProvider> providers, KeySet keySet,
                              const CERT_CONTEXT& certificate, SearchProgress& progress);
