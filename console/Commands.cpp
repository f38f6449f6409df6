#include "console/Commands.h"

#include "resources/console.h"

namespace {

constexpr CommandEntry kCommands[] = {
    {"list", nullptr, IDS_SUMMARY_LIST, IDS_EXAMPLE_LIST, &MakeList},
};

}  // namespace

std::span<const CommandEntry> Commands() {
    return kCommands;
}
