// Which containers the certificates in the system stores have links to.
#pragma once

#include <string>
#include <unordered_set>

#include "csp/CryptProvContext.h"
#include "csp/KeyLink.h"
#include "framework/Result.h"

class StoreLinks {
  public:
    // Adds the links of all certificates in all stores of the user or the computer. Stores that can't be opened are
    // skipped. Fails when the stores can't all be listed.
    Result<> Read(KeySet keySet);

    // Whether a certificate has a link to this container under this name, in any letter case.
    bool Has(const std::wstring& container, const std::wstring& provider, KeySet keySet) const;

  private:
    // Only the hash of each link is kept: stores may hold many certificates.
    std::unordered_set<std::size_t> links_;
};
