// The tool's commands on containers, carriers and call records. All throw Failure or WrongUsage.
#pragma once

#include "softcsp/tool/Options.h"

namespace softcsp {

bool RunCreate(Arguments arguments);       // NAME, options
bool RunList(Arguments arguments);         // options
bool RunShow(Arguments arguments);         // NAME, options
bool RunRemove(Arguments arguments);       // NAME, options
bool RunChange(Arguments arguments);       // NAME WHAT=VALUE, options
bool RunCertificate(Arguments arguments);  // NAME…, options
bool RunCarrier(Arguments arguments);      // add | eject | insert | remove NAME, or list
bool RunCalls(Arguments arguments);        // PROGRAM, options

}  // namespace softcsp
