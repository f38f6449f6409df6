// CMyControlPanelApp: this module's one application object and its one applet.
#pragma once

#include "applet/ControlPanelApp.h"

class CMyControlPanelApp : public CControlPanelApp {
  protected:
    bool InitApplets() override;
    LRESULT ExitApplets() override;

  private:
    // What one CPL_INIT took. Several hosts in one process may begin and end independently.
    struct Taken {
        bool com;
        bool library;
    };
    std::vector<Taken> initialisations_;
};
