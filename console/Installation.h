// The installation of certificates, answering the panel's questions by the options of the command line.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <span>
#include <string>

#include "console/Session.h"
#include "csp/CertificateInstallation.h"
#include "csp/ContainerCertificates.h"
#include "framework/Handles.h"

// Whether a certificate that the store already holds is replaced: as the option says, otherwise as the user answers.
class ReplaceByOption final : public ReplaceQuestion {
  public:
    ReplaceByOption(bool replace, Session& session) : replace_(replace), session_(session) {}

    bool Replace() override;

    // The failure to report when the store holds the certificate: CRYPT_E_EXISTS when nobody could be asked.
    Failure Refusal(Failure added) const noexcept;

  private:
    bool replace_;
    Session& session_;
    bool noTerminal_ = false;
};

constexpr wchar_t kPersonalStore[] = L"My";

// Opens a system store of an owner. The personal store "My" is created when it doesn't exist yet; any other name must
// be that of a store.
Result<UniqueCertificateStore> OpenStoreToWrite(const std::wstring& name, KeySet keySet);

// Adds a certificate with its link to a store, and reports what failed.
ExitCode AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, bool replace, Session& session);

// Adds certificates of authorities to the stores "ca" and "root" of an owner, and names each one that it adds.
class AuthorityInstaller {
  public:
    // Without `trustRoots` certificates of roots are named and left out.
    AuthorityInstaller(KeySet keySet, bool trustRoots, Output& output)
        : keySet_(keySet), trustRoots_(trustRoots), output_(output) {}

    // Fails with the system's code. A certificate that the store already holds is left as it is.
    Result<> Add(Authority authority, std::span<const BYTE> encoded);

  private:
    Result<> AddTo(const wchar_t* name, UniqueCertificateStore& store, const CERT_CONTEXT& certificate);

    KeySet keySet_;
    bool trustRoots_;
    Output& output_;
    UniqueCertificateStore intermediates_, roots_;  // each opened for its first certificate
};
