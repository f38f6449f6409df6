// CControlPanelApp: a module of Control Panel applets, and how the shell's messages reach them.
#pragma once

#include <windows.h>

#include <exception>
#include <memory>
#include <vector>

#include "applet/CPApplet.h"

// CNotSupportedException: what was asked for doesn't exist here.

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

// CMyControlPanelApp: this module's one application object and its one applet.

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
