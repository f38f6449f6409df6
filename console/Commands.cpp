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
};

}  // namespace

std::span<const CommandEntry> Commands() {
    return kCommands;
}
