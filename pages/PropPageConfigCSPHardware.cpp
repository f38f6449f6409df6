#include "pages/PropPageConfigCSPHardware.h"

#include "applet/services/DeviceLibraries.h"
#include "applet/services/MessageBoxes.h"
#include "resources/resource.h"

namespace {

// Each is loaded while one of its windows is open.
using ReaderLibrary = LibraryReference<&LoadReaderLibrary, &ReleaseReaderLibrary>;
using RandomLibrary = LibraryReference<&LoadRandomLibrary, &ReleaseRandomLibrary>;

// The result is ignored: the windows report their own errors, and an older library that lacks one opens nothing.
template <class Function>
void ConfigureReaders(Function configure, HWND parent) {
    const ReaderLibrary library;
    if (!library) {
        MessageBoxId(IDS_READER_LIBRARY_MISSING, MB_ICONERROR);
        return;
    }
    const ReaderWindowRequest request{.parent = parent};
    configure(&request);
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
    ConfigureReaders(rdr_wnd_configure, m_hWnd);
}

void CPropPageConfigCSPHardware::OnCarriers() {
    ConfigureReaders(rdr_media_wnd_configure, m_hWnd);
}

void CPropPageConfigCSPHardware::OnRandom() {
    const RandomLibrary library;
    if (!library) {
        MessageBoxId(IDS_RANDOM_LIBRARY_MISSING, MB_ICONERROR);
        return;
    }
    rndm_wnd_configure(m_hWnd);
}
