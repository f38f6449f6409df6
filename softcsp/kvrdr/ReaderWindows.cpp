// Exports of the reader library.
#include "softcsp/kvrdr.h"

#include "softcsp/common/ReaderRegistration.h"
#include "softcsp/dialogs/FactsDialog.h"
#include "softcsp/kvrdr/ReadersDialog.h"
#include "softcsp/kvrdr/resource.h"

namespace {

static_assert(sizeof(RDR_WND_REQUEST) == 16);

// Whatever making a dialog throws stays here.
template <class Show>
DWORD Answer(const RDR_WND_REQUEST* request, Show show) noexcept {
    if (request == nullptr || request->size != sizeof *request) return ERROR_INVALID_PARAMETER;
    try {
        const DWORD result = show(request->parent);
        return result == ERROR_CANCELLED ? ERROR_SUCCESS : result;  // there is no other way to close them
    } catch (...) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

}  // namespace

DWORD rdr_wnd_configure(const RDR_WND_REQUEST* request) {
    return Answer(request, [](HWND parent) { return softcsp::ReadersDialog().Run(parent); });
}

DWORD rdr_media_wnd_configure(const RDR_WND_REQUEST* request) {
    return Answer(request, [](HWND parent) {
        return softcsp::FactsDialog(
                   IDD_CARRIER_TYPES, {IDS_COLUMN_TYPE, IDS_COLUMN_PLACE},
                   {{IDS_TYPE_REGISTRY, IDS_PLACE_REGISTRY}, {IDS_TYPE_DIRECTORY, IDS_PLACE_DIRECTORY}})
            .Run(parent);
    });
}

DWORD rdr_register_start(SUPSYS_REGISTRATION* registration) {
    if (registration == nullptr || registration->size != sizeof *registration) return ERROR_INVALID_PARAMETER;
    softcsp::ReaderRegistration* const made = softcsp::ReaderRegistration::Make();
    if (made == nullptr) return ERROR_NOT_ENOUGH_MEMORY;
    registration->context = made;
    return ERROR_SUCCESS;
}
