// The texts of the container check by their ids in the string table; what they say is the table's affair.
#pragma once

#include <windows.h>

enum CheckText : UINT {
    kTextNone = 0,

    kTextContainer = 1078,
    kTextName = 133,
    kTextUniqueName = 134,
    kTextQualifiedName = 148,
    kTextIntegrity = 183,
    kTextCorrupted = 184,
    kTextUnknownCorruption = 185,
    kTextKeysLoading = 149,
    kTextSucceed = 150,

    kTextExchangeKey = 179,
    kTextSignatureKey = 180,
    kTextAvailable = 181,
    kTextNotAvailable = 182,
    kTextPublicKeyExport = 152,
    kTextPublicKeyImport = 153,
    kTextSigning = 154,
    kTextVerifying = 155,
    kTextAgreement = 156,
    kTextKeyExport = 139,
    kTextAllowed = 140,
    kTextDisallowed = 141,
    kTextAlgorithm = 146,

    kTextCertificateInContainer = 178,
    kTextMatchesKey = 138,
    kTextOtherKey = 137,
    kTextUsagePeriod = 159,
    kTextExpired = 158,
    kTextCertificateInStore = 186,
    kTextNoKeyLink = 187,
    kTextNotInstalled = 188,

    kTextCertificateName = 1063,
    kTextSubject = 1064,
    kTextIssuer = 1065,
    kTextValidFrom = 1066,
    kTextValidTo = 1067,
    kTextKeyValidFrom = 1111,
    kTextKeyValidTo = 1112,
    kTextSerialNumber = 1068,

    kTextExtensions = 144,
    kTextCritical = 142,
    kTextNoncritical = 143,

    kTextCheckSucceeded = 135,
    kTextNoErrors = 145,
    kTextCheckFailed = 136,
};
