// The check names its texts by their numbers alone; this compares them with the string table's ids.
#include "csp/CheckTexts.h"
#include "resources/resource.h"

static_assert(kTextName == IDS_CHECK_NAME);
static_assert(kTextUniqueName == IDS_CHECK_UNIQUE_NAME);
static_assert(kTextCheckSucceeded == IDS_CHECK_SUCCEEDED);
static_assert(kTextCheckFailed == IDS_CHECK_FAILED);
static_assert(kTextOtherKey == IDS_CHECK_OTHER_KEY);
static_assert(kTextMatchesKey == IDS_CHECK_MATCHES_KEY);
static_assert(kTextKeyExport == IDS_CHECK_KEY_EXPORT);
static_assert(kTextAllowed == IDS_CHECK_ALLOWED);
static_assert(kTextDisallowed == IDS_CHECK_DISALLOWED);
static_assert(kTextCritical == IDS_CHECK_CRITICAL);
static_assert(kTextNoncritical == IDS_CHECK_NONCRITICAL);
static_assert(kTextExtensions == IDS_CHECK_EXTENSIONS);
static_assert(kTextNoErrors == IDS_CHECK_NO_ERRORS);
static_assert(kTextAlgorithm == IDS_CHECK_ALGORITHM);
static_assert(kTextQualifiedName == IDS_CHECK_QUALIFIED_NAME);
static_assert(kTextKeysLoading == IDS_CHECK_KEYS_LOADING);
static_assert(kTextSucceed == IDS_CHECK_SUCCEED);
static_assert(kTextPublicKeyExport == IDS_CHECK_PUBLIC_KEY_EXPORT);
static_assert(kTextPublicKeyImport == IDS_CHECK_PUBLIC_KEY_IMPORT);
static_assert(kTextSigning == IDS_CHECK_SIGNING);
static_assert(kTextVerifying == IDS_CHECK_VERIFYING);
static_assert(kTextAgreement == IDS_CHECK_AGREEMENT);
static_assert(kTextExpired == IDS_CHECK_EXPIRED);
static_assert(kTextUsagePeriod == IDS_CHECK_USAGE_PERIOD);
static_assert(kTextCertificateInContainer == IDS_CHECK_CERTIFICATE_IN_CONTAINER);
static_assert(kTextExchangeKey == IDS_CHECK_EXCHANGE_KEY);
static_assert(kTextSignatureKey == IDS_CHECK_SIGNATURE_KEY);
static_assert(kTextAvailable == IDS_CHECK_AVAILABLE);
static_assert(kTextNotAvailable == IDS_CHECK_NOT_AVAILABLE);
static_assert(kTextIntegrity == IDS_CHECK_INTEGRITY);
static_assert(kTextCorrupted == IDS_CHECK_CORRUPTED);
static_assert(kTextUnknownCorruption == IDS_CHECK_UNKNOWN_CORRUPTION);
static_assert(kTextCertificateInStore == IDS_CHECK_CERTIFICATE_IN_STORE);
static_assert(kTextNoKeyLink == IDS_CHECK_NO_KEY_LINK);
static_assert(kTextNotInstalled == IDS_CHECK_NOT_INSTALLED);
static_assert(kTextCertificateName == IDS_CERTIFICATE_NAME);
static_assert(kTextSubject == IDS_CERTIFICATE_SUBJECT);
static_assert(kTextIssuer == IDS_CERTIFICATE_ISSUER);
static_assert(kTextValidFrom == IDS_CERTIFICATE_VALID_FROM);
static_assert(kTextValidTo == IDS_CERTIFICATE_VALID_TO);
static_assert(kTextSerialNumber == IDS_CERTIFICATE_SERIAL_NUMBER);
static_assert(kTextContainer == IDS_CONTAINER);
static_assert(kTextKeyValidFrom == IDS_CERTIFICATE_KEY_FROM);
static_assert(kTextKeyValidTo == IDS_CERTIFICATE_KEY_TO);
