// CCPApplet: one applet of the module, as the Control Panel sees it.
#pragma once

#include <windows.h>

#include <cpl.h>

#include <memory>

#include "framework/Wnd.h"

class CCPApplet {
  public:
    // Makes the window that the applet opens, with new; the window deletes itself.
    using RuntimeClass = CWnd* (*)();

    // `icon`, `name` and `information` are resource ids. A dynamic applet is asked for its texts each time.
    CCPApplet(RuntimeClass runtimeClass, int icon, int name, int information, bool dynamic) noexcept
        : runtimeClass_(runtimeClass), icon_(icon), name_(name), information_(information), dynamic_(dynamic) {}
    virtual ~CCPApplet() = default;
    CCPApplet(const CCPApplet&) = delete;
    CCPApplet& operator=(const CCPApplet&) = delete;

    // Opens the applet's window over `parent` and runs it, anew whenever it ends with IDRETRY. `parameters` may be
    // nullptr; a decimal number there is the page to open first. False when the window could not be opened.
    virtual bool OnDblclk(HWND parent, const char* parameters);
    virtual void OnInquire(CPLINFO& information);
    // 0, or 1 for an applet that isn't dynamic. Texts that are too long for the record are cut.
    virtual LRESULT OnNewInquire(NEWCPLINFOW& information);
    virtual LRESULT OnSelect() { return 0; }
    virtual LRESULT OnStop() { return 0; }

  private:
    RuntimeClass runtimeClass_;
    int icon_, name_, information_;
    bool dynamic_;
};
