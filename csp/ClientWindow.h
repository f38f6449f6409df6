// ClientWindow: the window that owns the dialogs which providers show, while the object lives.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include "framework/UniqueHandle.h"

class ClientWindow {
  public:
    explicit ClientWindow(HWND window) noexcept { Set(window); }
    ~ClientWindow() { Set(nullptr); }
    ClientWindow(const ClientWindow&) = delete;
    ClientWindow& operator=(const ClientWindow&) = delete;

  private:
    // For all providers of the process, so no handle is given. A system that wants one refuses, which is no reason to
    // hide an error that the caller is about to show.
    static void Set(HWND window) noexcept {
        const LastErrorKeeper keeper;
        CryptSetProvParam(0, PP_CLIENT_HWND, reinterpret_cast<const BYTE*>(&window), 0);
    }
};
