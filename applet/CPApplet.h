// CCPApplet: one Control Panel applet of the module.
#pragma once

#include <windows.h>

#include <cpl.h>

#include <memory>

#include "framework/Wnd.h"

class CCPApplet {
  public:
    // Creates the applet's window with new. The window deletes itself.
    using RuntimeClass = CWnd* (*)();

    // `icon`, `name` and `information` are resource ids. The Control Panel asks a dynamic applet for its
    // texts each time.
    CCPApplet(RuntimeClass runtimeClass, int icon, int name, int information, bool dynamic) noexcept
        : runtimeClass_(runtimeClass), icon_(icon), name_(name), information_(information), dynamic_(dynamic) {}
    virtual ~CCPApplet() = default;
    CCPApplet(const CCPApplet&) = delete;
    CCPApplet& operator=(const CCPApplet&) = delete;

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
