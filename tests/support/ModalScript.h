// Drives the modal windows that the calling thread opens: steps run inside their message loops, message boxes are
// noted and answered.
#pragma once

#include <windows.h>

#include <deque>
#include <functional>
#include <string>
#include <vector>

struct ShownBox {
    std::wstring caption;
    std::wstring text;
    HWND owner;
};

class ModalScript {
  public:
    using Step = std::function<void(HWND window)>;

    // `steps` run one after another, each in a message loop's turn of its own, with the property sheet or dialog that
    // is on the screen (a sheet that was built anew is the new one). After the last step a window that is still open is
    // cancelled. `answers` go to the message boxes in order; boxes beyond them are answered with their default button.
    explicit ModalScript(std::vector<Step> steps = {}, std::deque<int> answers = {});
    ~ModalScript();
    ModalScript(const ModalScript&) = delete;
    ModalScript& operator=(const ModalScript&) = delete;

    const std::vector<ShownBox>& Boxes() const noexcept { return boxes_; }
    // All steps have run, unless there was no memory, and nothing crashed meanwhile: in a window procedure not every
    // system lets that end the program.
    bool Finished() const noexcept;

  private:
    static LRESULT CALLBACK HookProc(int code, WPARAM wParam, LPARAM lParam);
    static void CALLBACK TimerProc(HWND, UINT, UINT_PTR, DWORD);

    void Note(HWND box);
    void RunNext();

    std::vector<Step> steps_;
    std::deque<int> answers_;
    std::vector<ShownBox> boxes_;
    std::vector<HWND> answered_;
    size_t next_ = 0;
    int waited_ = 0;
    bool running_ = false;
    PVOID crashes_ = nullptr;
    HHOOK hook_ = nullptr;
    UINT_PTR timer_ = 0;
};

// What tests ask of and do to windows.
namespace Ui {

std::wstring Text(HWND window);
std::wstring Text(HWND dialog, UINT id);
bool Enabled(HWND dialog, UINT id);
bool Visible(HWND dialog, UINT id);
std::vector<std::wstring> Items(HWND dialog, UINT comboId);
int Selected(HWND dialog, UINT comboId);

// The tip that the mouse finds over the middle of a control that is disabled, which lets it through to the dialog.
std::wstring TipBehind(HWND dialog, UINT id);

void Select(HWND dialog, UINT comboId, int item);          // as a user does: with the notification
void Type(HWND dialog, UINT editId, const wchar_t* text);  // likewise
void Click(HWND dialog, UINT id);

HWND Page(HWND sheet);
int PageIndex(HWND sheet);
int PageCount(HWND sheet);
bool ApplyEnabled(HWND sheet);

// These are posted; their effect is there in the next step.
void Press(HWND sheet, int button);  // PSBTN_…

// The frontmost property sheet or dialog of this thread that takes input and isn't a message box.
HWND Current();

}  // namespace Ui
