// What the pages of the check wizard share.
#pragma once

#include "csp/CryptProvContext.h"
#include "wizards/WizardState.h"

struct CheckContainerState : WizardState {
    CCryptProvContext container;  // opened by the first page
};
