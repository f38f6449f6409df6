#include "wizards/OpenCertFileDialog.h"

#include <windows.h>

#include <commdlg.h>

#include "applet/services/Strings.h"
#include "resources/resource.h"

namespace {

constexpr DWORD kFlags = OFN_READONLY | OFN_NOCHANGEDIR | OFN_EXTENSIONDIFFERENT | OFN_PATHMUSTEXIST |
                         OFN_FILEMUSTEXIST | OFN_LONGNAMES | OFN_ENABLESIZING;
static_assert(kFlags == 0x00A01C09);

}  // namespace

COpenCertFileDialog::COpenCertFileDialog()
    : CFileDialog(Kind::Open, LoadStringLang(IDS_CERTIFICATE_FILE_FILTER), kFlags) {}
