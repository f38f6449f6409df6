// Stands in for the system's message boxes, which it notes and answers, and for its shell, which opens nothing.
#pragma once

#include <shellapi.h>

#include <deque>

#include "tests/support/FaultInjection.h"
#include "tests/support/ImportPatch.h"

// A message's icon and buttons, and its text.
using Box = std::pair<UINT, std::wstring>;
using Boxes = std::vector<Box>;

class ShownBoxes {
  public:
    ShownBoxes() { shown.clear(), answers.clear(), meanwhile = nullptr; }

    static inline Boxes shown;
    static inline std::wstring caption;             // of the last one
    static inline DWORD_PTR help;                   // likewise, its context
    static inline std::deque<int> answers;          // to the questions; those beyond them are answered with Yes
    static inline std::function<void()> meanwhile;  // what happens while the next box is open

  private:
    static int WINAPI Show(const MSGBOXPARAMSW* box) {
        FaultInjection::ForgetQuestions();
        shown.emplace_back(box->dwStyle, box->lpszText);
        caption = box->lpszCaption;
        help = box->dwContextHelpId;
        if (const auto act = std::exchange(meanwhile, nullptr)) act();
        if ((box->dwStyle & MB_TYPEMASK) == MB_OK) return IDOK;
        const int answer = answers.empty() ? IDYES : answers.front();
        if (!answers.empty()) answers.pop_front();
        return answer;
    }

    const ImportPatch patch_{"MessageBoxIndirectW", &Show};
};

// What would be opened is noted.
class Shell {
  public:
    struct Request {
        std::wstring verb, file, directory;
    };
    Shell() { opened.clear(), result = 33; }

    static inline std::vector<Request> opened;
    static inline INT_PTR result;  // above 32: success

  private:
    static HINSTANCE WINAPI Open(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR, LPCWSTR directory, INT) {
        opened.push_back({verb, file, directory ? directory : L""});
        return reinterpret_cast<HINSTANCE>(result);
    }

    const ImportPatch patch_{"ShellExecuteW", &Open};
};
