// Export of the random number library.
#include "softcsp/kvrndm.h"

#include "softcsp/dialogs/FactsDialog.h"
#include "softcsp/kvrndm/resource.h"

DWORD rndm_wnd_configure(HWND parent) {
    try {
        softcsp::FactsDialog dialog(IDD_RANDOM, {IDS_COLUMN_GENERATOR, IDS_COLUMN_SOURCE},
                                    {{IDS_GENERATOR, IDS_SOURCE}});
        const DWORD result = dialog.Run(parent);
        return result == ERROR_CANCELLED ? ERROR_SUCCESS : result;  // there is no other way to close it
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}
