// The search for the container with a certificate's private key, through all containers of some providers.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <cstddef>
#include <span>
#include <string>

#include "csp/CryptProvContext.h"
#include "csp/Providers.h"

// Receives each step of a search before it begins.
class SearchProgress {
  public:
    // `container` is empty when the provider is about to be opened. False stops the search.
    virtual bool Searching(const std::wstring& provider, const std::wstring& container) = 0;

  protected:
    ~SearchProgress() = default;
};

enum class SearchEnd { Found, NotFound, Stopped };

struct SearchResult {
    SearchEnd end = SearchEnd::NotFound;
    std::size_t provider = 0;  // position of the provider that has the container; only after Found
    std::wstring container{};  // only after Found
};

// Opens the providers in their order, and the containers of each in the provider's order, up to the first container
// that has the certificate's key. Providers and containers that can't be opened are skipped.
SearchResult SearchContainers(std::span<const Provider> providers, KeySet keySet, const CERT_CONTEXT& certificate,
                              SearchProgress& progress);
