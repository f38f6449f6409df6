#include "pages/PropPageConfigCSPHardware.h"

#include "applet/services/DeviceLibraries.h"
#include "applet/services/MessageBoxes.h"
#include "resources/resource.h"

namespace {

// Opens a window of a library, which is referenced while the window is open; shows a message when it can't be loaded.
// The result of `open` is ignored: the windows report their own errors, and an older library that lacks one opens
// nothing.
template <class Open>
void OpenWindow(ProductLibrary& library, UINT missing, Open&& open) {
    const LibraryReference reference(library);
    if (reference) {
        open();
    } else {
        MessageBoxId(missing, MB_ICONERROR);
    }
}

}  // namespace

CPropPageConfigCSPHardware::CPropPageConfigCSPHardware() : CPropPageConfigBase(IDD_HARDWARE) {}

std::span<const Route> CPropPageConfigCSPHardware::Routes() const {
    using Page = CPropPageConfigCSPHardware;
    static constexpr Route table[] = {
        on<&Page::OnReaders>(IDC_HARDWARE_READERS, BN_CLICKED),
        on<&Page::OnCarriers>(IDC_HARDWARE_CARRIERS, BN_CLICKED),
        on<&Page::OnRandom>(IDC_HARDWARE_RANDOM, BN_CLICKED),
    };
    return table;
}

void CPropPageConfigCSPHardware::OnReaders() {
    const ReaderWindowRequest request{.parent = m_hWnd};
    OpenWindow(ReaderLibrary(), IDS_READER_LIBRARY_MISSING, [&] { rdr_wnd_configure(&request); });
}

void CPropPageConfigCSPHardware::OnCarriers() {
    const ReaderWindowRequest request{.parent = m_hWnd};
    OpenWindow(ReaderLibrary(), IDS_READER_LIBRARY_MISSING, [&] { rdr_media_wnd_configure(&request); });
}

void CPropPageConfigCSPHardware::OnRandom() {
    OpenWindow(RandomLibrary(), IDS_RANDOM_LIBRARY_MISSING, [this] { rndm_wnd_configure(m_hWnd); });
}
