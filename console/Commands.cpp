#include "console/Commands.h"

#include "resources/console.h"

namespace {

constexpr CommandEntry kCommands[] = {
    {"list", nullptr, IDS_SUMMARY_LIST, IDS_EXAMPLE_LIST, &MakeList},
    {"expiring", nullptr, IDS_SUMMARY_EXPIRING, IDS_EXAMPLE_EXPIRING, &MakeExpiring},
    {"reconcile", nullptr, IDS_SUMMARY_RECONCILE, IDS_EXAMPLE_RECONCILE, &MakeReconcile},
    {"settings", "show", IDS_SUMMARY_SETTINGS_SHOW, IDS_EXAMPLE_SETTINGS_SHOW, &MakeSettingsShow},
    {"settings", "export", IDS_SUMMARY_SETTINGS_EXPORT, IDS_EXAMPLE_SETTINGS_EXPORT, &MakeSettingsExport},
    {"settings", "compare", IDS_SUMMARY_SETTINGS_COMPARE, IDS_EXAMPLE_SETTINGS_COMPARE, &MakeSettingsCompare},
    {"settings", "apply", IDS_SUMMARY_SETTINGS_APPLY, IDS_EXAMPLE_SETTINGS_APPLY, &MakeSettingsApply},
    {"versions", nullptr, IDS_SUMMARY_VERSIONS, IDS_EXAMPLE_VERSIONS, &MakeVersions},
};

}  // namespace

std::span<const CommandEntry> Commands() {
    return kCommands;
}
