#pragma once

#include <windows.h>

// ILinkHandler: the owner of a link that does something else with a click than opening the link's target.
class ILinkHandler {
  public:
    virtual ~ILinkHandler() = default;
    virtual void OnLinkClicked(HWND link) = 0;
};
