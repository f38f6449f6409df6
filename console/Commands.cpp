#include "console/Commands.h"

#include "resources/console.h"

namespace {

constexpr CommandEntry kCommands[] = {
    {"list", nullptr, IDS_COMMAND_LIST, IDS_EXAMPLE_LIST, &MakeList},
    {"check", nullptr, IDS_COMMAND_CHECK, IDS_EXAMPLE_CHECK, &MakeCheck},
    {"copy", nullptr, IDS_COMMAND_COPY, IDS_EXAMPLE_COPY, &MakeCopy},
    {"delete", nullptr, IDS_COMMAND_DELETE, IDS_EXAMPLE_DELETE, &MakeDelete},
    {"password", nullptr, IDS_COMMAND_PASSWORD, IDS_EXAMPLE_PASSWORD, &MakePassword},
    {"certificates", nullptr, IDS_COMMAND_CERTIFICATES, IDS_EXAMPLE_CERTIFICATES, &MakeCertificates},
    {"install", nullptr, IDS_COMMAND_INSTALL, IDS_EXAMPLE_INSTALL, &MakeInstall},
    {"expiring", nullptr, IDS_COMMAND_EXPIRING, IDS_EXAMPLE_EXPIRING, &MakeExpiring},
    {"reconcile", nullptr, IDS_COMMAND_RECONCILE, IDS_EXAMPLE_RECONCILE, &MakeReconcile},
    {"settings", "show", IDS_COMMAND_SETTINGS_SHOW, IDS_EXAMPLE_SETTINGS_SHOW, &MakeSettingsShow},
    {"settings", "export", IDS_COMMAND_SETTINGS_EXPORT, IDS_EXAMPLE_SETTINGS_EXPORT, &MakeSettingsExport},
    {"settings", "compare", IDS_COMMAND_SETTINGS_COMPARE, IDS_EXAMPLE_SETTINGS_COMPARE, &MakeSettingsCompare},
    {"settings", "apply", IDS_COMMAND_SETTINGS_APPLY, IDS_EXAMPLE_SETTINGS_APPLY, &MakeSettingsApply},
    {"doctor", nullptr, IDS_COMMAND_DOCTOR, IDS_EXAMPLE_DOCTOR, &MakeDoctor},
    {"versions", nullptr, IDS_COMMAND_VERSIONS, IDS_EXAMPLE_VERSIONS, &MakeVersions},
};

}  // namespace

std::span<const CommandEntry> Commands() {
    return kCommands;
}
