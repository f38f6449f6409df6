// The random number library.
#include "softcsp/kvrndm.h"

#include "softcsp/common/ExportGuard.h"
#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/resource.h"

DWORD rndm_wnd_configure(HWND parent) {
    return softcsp::Guarded([=] {
        softcsp::FactsDialog dialog(IDD_RANDOM, {IDS_COLUMN_GENERATOR, IDS_COLUMN_SOURCE},
                                    {{IDS_GENERATOR, IDS_SOURCE}});
        const DWORD result = dialog.Run(parent);
        return result == ERROR_CANCELLED ? ERROR_SUCCESS : result;  // its only button closes it
    });
}
