// The caches that exist until the module is unloaded.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "applet/services/ProductLibrary.h"
#include "framework/Handles.h"

class ProcessCaches {
  public:
    ProductLibrary support{L"kvsuprt.dll"};
    ProductLibrary readers{L"kvrdr.dll"};
    ProductLibrary random{L"kvrndm.dll"};

    // The caption of message boxes and of the configuration sheet (DisplayName in Strings.h).
    std::wstring displayName;

    // The activation context of the product's signature library, when that is loaded in the process; made once, from
    // its own manifest. INVALID_HANDLE_VALUE when there is none.
    HANDLE SignatureLibraryContext() noexcept;

    // The hand cursor for links; nullptr when it could not be loaded.
    HCURSOR HandCursor() noexcept;

  private:
    UniqueActivationContext signatureContext_;
    std::optional<UniqueCursor> handCursor_;
};

ProcessCaches& Caches() noexcept;
