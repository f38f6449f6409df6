#include "settings/LanguageSettings.h"

#include "applet/services/Strings.h"
#include "applet/services/SupportLibrary.h"

namespace {

constexpr int kInvalid = -1;

bool IsKnown(LONG language) noexcept {
    return language == kRussian || language == kEnglish;
}

}  // namespace

void LanguageSettings::Read() {
    mayWriteMachine = MayWrite(kMachineSection);
    mayWriteUser = MayWrite(kUserSection);
    storedInvalid = false;

    LONG language = 0;
    if (support_registry_get_long(kMachinePath, &language) == 0 && IsKnown(language)) {
        machine.Reset(language);
    } else {
        machine.Reset(kEnglish);
        if (mayWriteMachine) {
            machine.stored = 0;
            storedInvalid = true;
        }
    }

    user.Reset(kSystemDefault);
    if (support_registry_get_long(kUserPath, &language) != 0) return;
    if (IsKnown(language)) {
        user.Reset(language);
    } else {
        if (mayWriteUser) user.stored = kInvalid;
        storedInvalid = true;
    }
}

Result<> LanguageSettings::WriteMachine() {
    const Result<> written = TryCode(support_registry_put_long(kMachinePath, machine.shown));
    if (written) machine.stored = machine.shown;
    return written;
}

Result<> LanguageSettings::WriteUser() {
    if (user.shown == kSystemDefault) {
        support_registry_delete_param(kUserPath);  // fails when nothing is stored
    } else if (const Result<> written = TryCode(support_registry_put_long(kUserPath, user.shown)); !written) {
        return written;
    }
    user.stored = user.shown;
    return {};
}
