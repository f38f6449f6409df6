// What the pages of any wizard share. A wizard that carries more derives its own plain struct from it.
#pragma once

#include "csp/KeySet.h"

struct WizardState {
    KeySet keySet = KeySet::User;  // as chosen last, on whichever page
};
