// What is kept for the life of the process, in one place.
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

    // The name that message boxes and the configuration sheet are captioned with (DisplayName.h).
    std::wstring displayName;

    // The activation context of the product's signature library, when that is loaded in the process; made once, from
    // its own manifest. INVALID_HANDLE_VALUE when there is none.
    HANDLE SignatureLibraryContext() noexcept;

    // The hand shown over links; nullptr when it can't be had.
    HCURSOR HandCursor() noexcept;

  private:
    UniqueActivationContext signatureContext_;
    std::optional<UniqueCursor> handCursor_;
};

ProcessCaches& Caches() noexcept;
