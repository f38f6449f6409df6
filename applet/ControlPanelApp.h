// CControlPanelApp: a module of Control Panel applets, and how the shell's messages reach them.
#pragma once

#include <windows.h>

#include <memory>
#include <vector>

#include "applet/CPApplet.h"

class CControlPanelApp {
  public:
    CControlPanelApp() = default;
    virtual ~CControlPanelApp() = default;
    CControlPanelApp(const CControlPanelApp&) = delete;
    CControlPanelApp& operator=(const CControlPanelApp&) = delete;

    // One message of the shell (CPL_…); its result. Throws CNotSupportedException when the message is for an applet
    // that doesn't exist.
    virtual LRESULT ControlPanelMessage(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2);

  protected:
    virtual bool InitApplets();  // true when there is at least one applet
    virtual LRESULT ExitApplets() { return 0; }

    std::vector<std::unique_ptr<CCPApplet>> applets_;

  private:
    CCPApplet& AppletAt(LPARAM position) const;
};
