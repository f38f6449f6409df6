#include "softcsp/kvcsp/Context.h"

namespace softcsp {
namespace {

// At namespace scope: made when the library is loaded, before any thread can ask for it.
ContextTable openContexts;

}  // namespace

ContextTable& OpenContexts() {
    return openContexts;
}

}  // namespace softcsp
