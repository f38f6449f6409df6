// How many handles this process holds.
#pragma once

struct HandleCounts {
    unsigned kernel;   // files, registry keys, events, …
    unsigned gdi;      // fonts, bitmaps, brushes, device contexts, …
    unsigned windows;  // of this process, message-only ones too

    bool operator==(const HandleCounts&) const = default;
};

HandleCounts CountHandles();
