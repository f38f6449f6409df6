// The panel in the system's own control.exe, driven by the keyboard alone, in both languages.
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/Store.h"
#include "tools/panel/SheetWatch.h"

namespace {

constexpr DWORD kPatience = 20'000;  // milliseconds, for what must come

// Another process's windows tell nothing when they are done; they are looked at until they are.
template <class Condition>
bool Await(Condition condition) {
    for (const ULONGLONG end = GetTickCount64() + kPatience; !condition(); Sleep(5))
        if (GetTickCount64() > end) return false;
    return true;
}

std::wstring ClassOf(HWND window) {
    wchar_t name[64] = L"";
    GetClassNameW(window, name, 64);
    return name;
}

class ControlPanel {
  public:
    ControlPanel() {
        std::wstring command = L"control.exe \"" + ProgramDirectory() + L"vestra.cpl\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        PROCESS_INFORMATION started{};
        if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started))
            return;
        process_.reset(started.hProcess);
        CloseHandle(started.hThread);
        id_ = started.dwProcessId;
        Await([&] { return (sheet_ = SheetWatch::Find(id_)) != nullptr && SheetWatch::IsPainted(sheet_); });
        SetForegroundWindow(sheet_);
    }
    ~ControlPanel() {
        if (WaitForSingleObject(process_.get(), 0) != WAIT_OBJECT_0) TerminateProcess(process_.get(), 1);
    }
    ControlPanel(const ControlPanel&) = delete;
    ControlPanel& operator=(const ControlPanel&) = delete;

    HWND Sheet() const { return sheet_; }
    bool Ended() const { return WaitForSingleObject(process_.get(), kPatience) == WAIT_OBJECT_0; }

    HWND Focus() const {
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        return GetGUIThreadInfo(GetWindowThreadProcessId(sheet_, nullptr), &info) ? info.hwndFocus : nullptr;
    }
    // The window above the sheet that takes the keys; the sheet itself when there is none.
    HWND Front() const {
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(GetWindowThreadProcessId(sheet_, nullptr), &info);
        return info.hwndActive;
    }
    int Page() const {
        const HWND tabs = FindWindowExW(sheet_, nullptr, L"SysTabControl32", nullptr);
        return static_cast<int>(SendMessageW(tabs, TCM_GETCURSEL, 0, 0));
    }
    HWND PageWindow() const { return reinterpret_cast<HWND>(SendMessageW(sheet_, PSM_GETCURRENTPAGEHWND, 0, 0)); }

  private:
    UniqueKernelHandle process_;
    DWORD id_ = 0;
    HWND sheet_ = nullptr;
};

INPUT Key(WORD key, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    (flags & KEYEVENTF_UNICODE ? input.ki.wScan : input.ki.wVk) = key;
    input.ki.dwFlags = flags;
    return input;
}

void Press(WORD key, WORD with = 0) {
    std::vector<INPUT> inputs;
    if (with) inputs.push_back(Key(with, 0));
    inputs.push_back(Key(key, 0));
    inputs.push_back(Key(key, KEYEVENTF_KEYUP));
    if (with) inputs.push_back(Key(with, KEYEVENTF_KEYUP));
    SendInput(static_cast<UINT>(inputs.size()), inputs.data(), sizeof(INPUT));
}

void Type(const std::wstring& text) {
    for (const wchar_t c : text) {
        INPUT inputs[] = {Key(c, KEYEVENTF_UNICODE), Key(c, KEYEVENTF_UNICODE | KEYEVENTF_KEYUP)};
        SendInput(2, inputs, sizeof(INPUT));
    }
}

std::wstring TextOf(HWND window) {
    wchar_t text[300] = L"";
    SendMessageW(window, WM_GETTEXT, 300, reinterpret_cast<LPARAM>(text));
    return text;
}

class Keyboard : public testing::TestWithParam<long> {
  protected:
    static constexpr wchar_t kName[] = L"Клавиатура";
    Keyboard() {
        RunTool(std::wstring(L"remove ") + kName);
        EXPECT_EQ(RunTool(std::wstring(L"create ") + kName), 0u);
    }
    ~Keyboard() override { RunTool(std::wstring(L"remove ") + kName); }

    const StoredNumber language_{L"\\local\\Language", GetParam()};
    const StoredNumber switch_{L"\\config\\Parameters\\tls_client_use_ocsp_extensions", 0};
};

TEST_P(Keyboard, ReachesEverythingInControlExe) {
    ControlPanel panel;
    ASSERT_TRUE(panel.Sheet());
    ASSERT_TRUE(Await([&] { return panel.Focus() != nullptr; }));
    // Through all pages and back to the first; each has something that takes the keys.
    for (const int page : {1, 2, 3, 4, 5, 6, 7, 0, 1, 2}) {
        Press(VK_TAB, VK_CONTROL);
        ASSERT_TRUE(Await([&] { return panel.Page() == page; })) << page;
        EXPECT_TRUE(Await([&] { return IsChild(panel.Sheet(), panel.Focus()) != FALSE; })) << page;
    }
    // The check wizard: its button by Tab and Space, the container's name typed, on by Enter.
    const HWND check = GetDlgItem(panel.PageWindow(), IDC_SERVICE_CHECK);
    for (int tabs = 0; panel.Focus() != check && tabs < 20; ++tabs) {
        const HWND before = panel.Focus();
        Press(VK_TAB);
        ASSERT_TRUE(Await([&] { return panel.Focus() != before; }));
    }
    ASSERT_EQ(panel.Focus(), check);
    Press(VK_SPACE);
    ASSERT_TRUE(Await([&] { return panel.Front() != panel.Sheet() && ClassOf(panel.Focus()) == L"Edit"; }));
    const HWND wizard = panel.Front(), name = panel.Focus();
    Type(kName);
    ASSERT_TRUE(Await([&] { return TextOf(name) == kName; }));
    Press(VK_RETURN);
    HWND report = nullptr;
    EXPECT_TRUE(Await([&] {
        const auto page = reinterpret_cast<HWND>(SendMessageW(wizard, PSM_GETCURRENTPAGEHWND, 0, 0));
        report = GetDlgItem(page, IDC_REPORT_ROWS);
        return report != nullptr && SendMessageW(report, LVM_GETITEMCOUNT, 0, 0) > 20;
    }));
    Press(VK_ESCAPE);
    ASSERT_TRUE(Await([&] { return panel.Front() == panel.Sheet(); }));
    // A switch of the TLS page, applied by its key.
    while (panel.Page() != 7) {
        const int page = panel.Page();
        Press(VK_TAB, VK_CONTROL);
        ASSERT_TRUE(Await([&] { return panel.Page() != page; }));
    }
    const HWND box = GetDlgItem(panel.PageWindow(), IDC_TLS_CLIENT_OCSP);
    for (int tabs = 0; panel.Focus() != box && tabs < 40; ++tabs) {
        const HWND before = panel.Focus();
        Press(VK_TAB);
        ASSERT_TRUE(Await([&] { return panel.Focus() != before; }));
    }
    Press(VK_SPACE);
    EXPECT_TRUE(Await([&] { return SendMessageW(box, BM_GETCHECK, 0, 0) == BST_CHECKED; }));
    Press(VK_RETURN);  // OK; then No to the restart
    ASSERT_TRUE(Await([&] { return panel.Front() != panel.Sheet(); }));
    Press(VK_ESCAPE);
    Press(VK_RIGHT);
    Press(VK_RETURN);
    EXPECT_TRUE(panel.Ended());
    EXPECT_EQ(switch_.Get(), 1);
}

INSTANTIATE_TEST_SUITE_P(InBothLanguages, Keyboard, testing::Values(1033L, 1049L));

}  // namespace
