// The product's TLS settings: switches of the client's and the server's side, limits of the server's side. Stored for
// the whole machine below "\config\Parameters".
#pragma once

#include "settings/StoredValue.h"

struct TlsSettings {
    Setting<bool> clientUsesOcsp, clientSkipsRevocation, clientSkipsUsageCheck, clientRefusesLegacySuites;
    Setting<bool> serverUsesOcsp, serverSkipsRevocation, serverSkipsUsageCheck, serverRefusesLegacySuites;
    Setting<bool> serverOffersRenegotiationInfo, serverRequiresRenegotiationInfo, serverUsesMachineCredential;
    Setting<int> serverSessions;                // largest number of cached sessions
    Setting<int> serverCertificateAuthorities;  // largest number in a certificate request
    bool mayWrite = false;

    void Read();

    // Whether a shown value differs from the store as it is now; reads `stored` again.
    bool DiffersFromStore();

    // Writes every shown value that differs from the store as it is now, the switches first. A stored limit that is out
    // of range is replaced by the shown one. Without the right to write, limits are not written.
    WriteReport Write();
};

// Registers the product's CNG module again so that it offers the cipher suites that are now set. A new registration, or
// its failure, replaces the result of the writes before it. `soFar` is returned when nothing was done: Windows is too
// old for CNG, the module is missing, or it could not be unregistered.
Result<> RenewCngRegistration(Result<> soFar);

// Whether the product's OCSP module is installed.
bool IsOcspInstalled();

// Whether a switch has no effect without the OCSP module.
constexpr bool NeedsOcsp(Setting<bool> TlsSettings::*flag) noexcept {
    return flag == &TlsSettings::clientUsesOcsp || flag == &TlsSettings::serverUsesOcsp;
}

// Only the client's cipher suites need the CNG module registered again.
inline constexpr StoredValue<TlsSettings> kTlsSwitches[] = {
    {.name = "tls.client.useOcsp",
     .flag = &TlsSettings::clientUsesOcsp,
     .path = L"\\config\\Parameters\\tls_client_use_ocsp_extensions",
     .needsRestart = true},
    {.name = "tls.client.skipRevocationCheck",
     .flag = &TlsSettings::clientSkipsRevocation,
     .path = L"\\config\\Parameters\\tls_client_disable_revocation_check",
     .needsRestart = true},
    {.name = "tls.client.skipUsageCheck",
     .flag = &TlsSettings::clientSkipsUsageCheck,
     .path = L"\\config\\Parameters\\tls_client_disable_self_certificate_usage_validation",
     .needsRestart = true},
    {.name = "tls.client.refuseLegacySuites",
     .flag = &TlsSettings::clientRefusesLegacySuites,
     .path = L"\\config\\Parameters\\tls_client_disable_legacy_cipher_suites",
     .needsRestart = true,
     .afterWrite = &RenewCngRegistration},
    {.name = "tls.server.useOcsp",
     .flag = &TlsSettings::serverUsesOcsp,
     .path = L"\\config\\Parameters\\tls_server_use_ocsp_extensions",
     .needsRestart = true},
    {.name = "tls.server.skipRevocationCheck",
     .flag = &TlsSettings::serverSkipsRevocation,
     .path = L"\\config\\Parameters\\tls_server_disable_revocation_check",
     .needsRestart = true},
    {.name = "tls.server.skipUsageCheck",
     .flag = &TlsSettings::serverSkipsUsageCheck,
     .path = L"\\config\\Parameters\\tls_server_disable_self_certificate_usage_validation",
     .needsRestart = true},
    {.name = "tls.server.refuseLegacySuites",
     .flag = &TlsSettings::serverRefusesLegacySuites,
     .path = L"\\config\\Parameters\\tls_server_disable_legacy_cipher_suites",
     .needsRestart = true},
    {.name = "tls.server.offerRenegotiationInfo",
     .flag = &TlsSettings::serverOffersRenegotiationInfo,
     .path = L"\\config\\Parameters\\tls_server_use_renegotiation_info_extension",
     .needsRestart = true},
    {.name = "tls.server.requireRenegotiationInfo",
     .flag = &TlsSettings::serverRequiresRenegotiationInfo,
     .path = L"\\config\\Parameters\\tls_server_require_renegotiation_info_extension",
     .needsRestart = true},
    {.name = "tls.server.useMachineCredential",
     .flag = &TlsSettings::serverUsesMachineCredential,
     .path = L"\\config\\Parameters\\tls_server_use_default_machine_credential",
     .needsRestart = true},
};

// The limits take effect without a restart.
inline constexpr StoredValue<TlsSettings> kTlsLimits[] = {
    {.name = "tls.server.maxSessions",
     .number = &TlsSettings::serverSessions,
     .path = L"\\config\\Parameters\\tls_server_max_sessions",
     .missing = 64,
     .range = {.least = 0, .most = 65536}},
    {.name = "tls.server.maxCertificateAuthorities",
     .number = &TlsSettings::serverCertificateAuthorities,
     .path = L"\\config\\Parameters\\tls_server_max_certificate_request_cas",
     .missing = 100,
     .range = {.least = 0, .most = 999}},
};
