// LongWork: a wizard's page works on the thread of its sheet for as long as the object lives. The user sees the work
// going on and can only cancel it.
#pragma once

#include <windows.h>

#include <array>

class LongWork;

// What a page is doing.
struct PageActivity {
    bool busy = false;         // it carries out an action of the user and accepts no other
    LongWork* work = nullptr;  // while there is one
};

class LongWork {
  public:
    // The sheet's Back, Next and Finish are disabled for the time. `activity` is the page's.
    LongWork(HWND sheet, PageActivity& activity) noexcept;
    // Input that came too late for the last step is dropped too: it was not meant for what the sheet shows then.
    ~LongWork();
    LongWork(const LongWork&) = delete;
    LongWork& operator=(const LongWork&) = delete;

    // To be called between two steps: paints the sheet, and carries out or drops the input that has arrived. False when
    // the user has cancelled, or the thread is to end.
    bool GoOn() noexcept;

    void Cancel() noexcept { cancelled_ = true; }

  private:
    struct Button {
        HWND window;
        bool enabled;
    };

    HWND sheet_;
    PageActivity& activity_;
    PageActivity before_;
    std::array<Button, 3> buttons_;
    bool cancelled_ = false;
};
