// LongWork: long work of a wizard page on the thread of its sheet, during which the user can only cancel.
#pragma once

#include <windows.h>

#include <array>

class LongWork;

// The state of a page.
struct PageActivity {
    bool busy = false;         // the page handles an action of the user and refuses others
    LongWork* work = nullptr;  // the current long work, if there is one
};

// The object's lifetime is that of the work. Call GoOn between two steps.
class LongWork {
  public:
    // Disables the sheet's Back, Next and Finish buttons. `activity` belongs to the page and must outlive the object.
    LongWork(HWND sheet, PageActivity& activity) noexcept;
    // Restores the buttons and the page's activity. Input that arrived during the last step is discarded.
    ~LongWork();
    LongWork(const LongWork&) = delete;
    LongWork& operator=(const LongWork&) = delete;

    // Paints the sheet, and processes or discards the input that has arrived. False when the user has cancelled, or
    // when WM_QUIT has been posted.
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
