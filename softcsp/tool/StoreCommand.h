// "store …" and "set NAME=VALUE": what the tool does with the configuration store and with the provider's settings.
#pragma once

#include "softcsp/tool/Options.h"

namespace softcsp {

// Both throw Failure and answer false when the arguments make no sense.
bool RunStore(Arguments arguments);
bool RunSetting(Arguments arguments);

}  // namespace softcsp
