// CControlPanelApp: the applets of a Control Panel module and the dispatching of the shell's messages to them.
#pragma once

#include <windows.h>

#include <exception>
#include <memory>
#include <vector>

#include "applet/CPApplet.h"

// The requested applet does not exist.
class CNotSupportedException : public std::exception {
  public:
    const char* what() const noexcept override { return "not supported"; }
};

class CControlPanelApp {
  public:
    CControlPanelApp() = default;
    virtual ~CControlPanelApp() = default;
    CControlPanelApp(const CControlPanelApp&) = delete;
    CControlPanelApp& operator=(const CControlPanelApp&) = delete;

    // Handles a message of the shell (CPL_…) and returns its result. Throws CNotSupportedException when the message is
    // for an applet that does not exist.
    virtual LRESULT ControlPanelMessage(HWND window, UINT message, LPARAM lParam1, LPARAM lParam2);

  protected:
    virtual bool InitApplets();  // true when there is at least one applet
    virtual LRESULT ExitApplets() { return 0; }

    std::vector<std::unique_ptr<CCPApplet>> applets_;

  private:
    CCPApplet& AppletAt(LPARAM position) const;
};

// The application object of this module, with one applet.
class CMyControlPanelApp : public CControlPanelApp {
  protected:
    bool InitApplets() override;
    LRESULT ExitApplets() override;

  private:
    // What one CPL_INIT initialised. Several hosts in one process may send CPL_INIT and CPL_EXIT independently.
    struct Initialisation {
        bool com;
        bool library;
    };
    std::vector<Initialisation> initialisations_;
};
