// COpenCertFileDialog: the system's dialog in which the user chooses a certificate file.
#pragma once

#include "framework/FileDialog.h"

class COpenCertFileDialog : public CFileDialog {
  public:
    COpenCertFileDialog();
};
