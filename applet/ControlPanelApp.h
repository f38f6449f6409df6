// CControlPanelApp: the applets of a Control Panel module and the dispatching of the shell's messages to them.
// CCPApplet: one applet.
#pragma once

#include <windows.h>

#include <cpl.h>

#include <exception>
#include <memory>
#include <vector>

#include "framework/Wnd.h"

// The requested applet does not exist.
class CNotSupportedException : public std::exception {
  public:
    const char* what() const noexcept override { return "not supported"; }
};

class CCPApplet : NonCopyable {
  public:
    // Creates the applet's window with new. The window deletes itself.
    using RuntimeClass = CWnd* (*)();

    // `icon`, `name` and `information` are resource ids. The Control Panel asks a dynamic applet for its
    // texts each time.
    CCPApplet(RuntimeClass runtimeClass, int icon, int name, int information, bool dynamic) noexcept
        : runtimeClass_(runtimeClass), icon_(icon), name_(name), information_(information), dynamic_(dynamic) {}
    virtual ~CCPApplet() = default;

    // Creates the applet's window, owned by `parent`, and runs it; again as long as it ends with IDRETRY. `parameters`:
    // the number of the page to open first, in decimal, or nullptr. False when the window could not be opened.
    virtual bool OnDblclk(HWND parent, const char* parameters);
    virtual void OnInquire(CPLINFO& information);
    // Returns 0, or 1 for an applet that is not dynamic. Texts that are too long for the record are truncated.
    virtual LRESULT OnNewInquire(NEWCPLINFOW& information);
    virtual LRESULT OnSelect() { return 0; }
    virtual LRESULT OnStop() { return 0; }

  private:
    RuntimeClass runtimeClass_;
    int icon_, name_, information_;
    bool dynamic_;
};

class CControlPanelApp : NonCopyable {
  public:
    CControlPanelApp() = default;
    virtual ~CControlPanelApp() = default;

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
