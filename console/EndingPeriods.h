// Certificates and private key usage periods that have ended or will end soon. Only these are kept, so that any number
// of certificates can be added.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "console/Session.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"

struct EndingPeriod {
    FILETIME end;  // UTC
    bool ofKey;    // the key usage period; otherwise the certificate's validity
    bool hasEnded;
    UniqueCertificate certificate;
    std::vector<ContainerPlace> containers;               // that have the certificate
    std::vector<std::pair<KeySet, std::wstring>> stores;  // likewise
};

class EndingPeriods {
  public:
    // `now` in UTC; a period that ends at most `days` after it ends soon.
    EndingPeriods(const FILETIME& now, int days) noexcept;

    void AddFromContainer(const CERT_CONTEXT& certificate, const ContainerPlace& container);
    void AddFromStore(const CERT_CONTEXT& certificate, KeySet keySet, const std::wstring& store);

    // The validity and the usage period of one certificate are two periods. Soonest first.
    std::vector<const EndingPeriod*> SoonestFirst() const;

  private:
    template <class AddPlace>
    void Add(const CERT_CONTEXT& certificate, AddPlace&& addPlace);

    FILETIME now_, last_;
    std::map<std::pair<Bytes, bool>, EndingPeriod> periods_;  // by the encoded certificate, and EndingPeriod::ofKey
};
