// The random number library.
#include "softcsp/kvrndm.h"

#include "softcsp/common/ExportGuard.h"
#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/resource.h"

DWORD rndm_wnd_configure(HWND parent) {
    return softcsp::Guarded([=] {
        return softcsp::ShowFacts(parent, IDD_RANDOM, {{IDS_COLUMN_GENERATOR, 35}, {IDS_COLUMN_SOURCE, 65}},
                                  {{IDS_GENERATOR, IDS_SOURCE}});
    });
}
