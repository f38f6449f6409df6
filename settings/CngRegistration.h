// The product's modules whose presence or registration depends on the TLS settings, or they on it.
#pragma once

enum class Registration {
    Untouched,  // this Windows has no use for the module, the module isn't there, or it keeps its old registration
    Renewed,
    Failed,  // the old registration is gone and there is no new one
};

// Registers the product's CNG module anew, so that it offers the cipher suites that are now set.
Registration RenewCngRegistration();

// Whether the product's OCSP module is installed.
bool IsOcspInstalled();
