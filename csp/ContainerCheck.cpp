#include "csp/ContainerCheck.h"

#include "csp/AnsiText.h"
#include "csp/CertificateRows.h"
#include "csp/CheckTexts.h"
#include "csp/ExtensionCheck.h"
#include "csp/KeyCheck.h"
#include "csp/Outcome.h"
#include "csp/ProviderParameters.h"

namespace {

constexpr std::size_t kUsualName = 512;  // bytes

// Each of these writes its rows; false: it found an error.

bool ShowName(HCRYPTPROV container, DWORD parameter, UINT label, CheckReport& report) {
    const BytesOutcome name = AskWithRoom(kUsualName, [&](BYTE* data, DWORD* length) {
        return CryptGetProvParam(container, parameter, data, length, 0);
    });
    if (name.done) {
        report.Row(label, FromAnsi(name.bytes));
    } else {
        report.Failure(label, name.error);
    }
    return name.done;
}

bool CheckIntegrity(HCRYPTPROV container, CheckReport& report) {
    const auto integrity = ReadParameter<DWORD>(container, kParameterIntegrity);
    if (!integrity) {
        report.Failure(kTextIntegrity, GetLastError());
        return false;
    }
    if (*integrity == 0) report.Row(kTextIntegrity, kTextSucceed);
    if (*integrity & kCorrupted) report.Row(kTextIntegrity, kTextCorrupted);
    if (*integrity & kUnknownCorruption) report.Row(kTextIntegrity, kTextUnknownCorruption);
    return *integrity == 0;
}

bool CheckKeysLoading(HCRYPTPROV container, CheckReport& report) {
    if (!ReadParameter<DWORD>(container, kParameterKeysLoading)) {
        report.Failure(kTextKeysLoading, GetLastError());
        return false;
    }
    report.Row(kTextKeysLoading, kTextSucceed);
    return true;
}

}  // namespace

bool CheckContainer(HCRYPTPROV container, KeySet keySet, CheckReport& report) {
    bool good = true;
    report.Row(kTextContainer, kTextNone);
    good &= ShowName(container, PP_CONTAINER, kTextName, report);
    good &= ShowName(container, PP_UNIQUE_CONTAINER, kTextUniqueName, report);
    good &= ShowName(container, kParameterQualifiedName, kTextQualifiedName, report);
    good &= CheckIntegrity(container, report);
    for (const DWORD keySpec : {AT_KEYEXCHANGE, AT_SIGNATURE}) good &= CheckKey(container, keySpec, keySet, report);
    good &= CheckKeysLoading(container, report);
    good &= CheckExtensions(container, report);
    report.Verdict(good ? kTextCheckSucceeded : kTextCheckFailed, good ? kTextNoErrors : kTextNone);
    return good;
}
