// The panel in the system's own control.exe, driven by the keyboard alone.

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/Store.h"
#include "tools/panel/SheetWatch.h"

namespace {

constexpr DWORD kPatience = 20'000;  // milliseconds, for what must come

// The windows of another process send no event when they are done, so they are looked at until they are.
template <class Condition>
bool Await(Condition condition) {
    for (const ULONGLONG end = GetTickCount64() + kPatience; !condition(); Sleep(5))
        if (GetTickCount64() > end) return false;
    return true;
}

void Press(int key, int with = 0) {
    const auto send = [](int code, DWORD flags) { keybd_event(static_cast<BYTE>(code), 0, flags, 0); };
    if (with) send(with, 0);
    for (const DWORD up : {0, KEYEVENTF_KEYUP}) send(key, up);
    if (with) send(with, KEYEVENTF_KEYUP);
}

class Keyboard : public testing::Test {
  protected:
    Keyboard() {
        std::wstring command = L"control.exe \"" + ProgramDirectory() + L"vestra.cpl\"";
        STARTUPINFOW startup{};
        startup.cb = sizeof startup;
        startup.dwFlags = STARTF_USESTDHANDLES;
        PROCESS_INFORMATION started{};
        CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &started);
        process_.reset(started.hProcess);
        CloseHandle(started.hThread);
        Await([&] {
            return (sheet_ = SheetWatch::Find(started.dwProcessId)) != nullptr && SheetWatch::IsPainted(sheet_);
        });
        SetForegroundWindow(sheet_);
    }
    ~Keyboard() override { TerminateProcess(process_.get(), 1); }  // one that hasn't ended

    GUITHREADINFO Input() const {
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(GetWindowThreadProcessId(sheet_, nullptr), &info);
        return info;
    }
    HWND Focus() const { return Input().hwndFocus; }
    bool SheetIsInFront() const { return Input().hwndActive == sheet_; }
    HWND Page() const { return reinterpret_cast<HWND>(SendMessageW(sheet_, PSM_GETCURRENTPAGEHWND, 0, 0)); }
    // A control, on the next page that has it; every page on the way has something that takes the keys.
    HWND GoTo(int id) const {
        for (int pages = 0; pages < 8 && !GetDlgItem(Page(), id); ++pages) {
            const HWND before = Page();
            Press(VK_TAB, VK_CONTROL);
            EXPECT_TRUE(Await([&] { return Page() != before && IsChild(Page(), Focus()); })) << id;
        }
        return GetDlgItem(Page(), id);
    }
    void Reach(HWND control) const {
        for (int tabs = 0; Focus() != control && tabs < 40; ++tabs) {
            const HWND before = Focus();
            Press(VK_TAB);
            ASSERT_TRUE(Await([&] { return Focus() != before; }));
        }
        ASSERT_EQ(Focus(), control);
    }
    void Close() const {
        ASSERT_TRUE(Await([&] { return !SheetIsInFront() && IsChild(Input().hwndActive, Focus()); }));
        Press(VK_ESCAPE);
        ASSERT_TRUE(Await([&] { return SheetIsInFront(); }));
    }

    const StoredNumber language_{L"\\local\\Language", 1033};
    const StoredNumber switch_{L"\\config\\Parameters\\tls_client_use_ocsp_extensions", 0};
    UniqueKernelHandle process_;
    HWND sheet_ = nullptr;
};

TEST_F(Keyboard, ReachesEverythingInControlExe) {
    ASSERT_TRUE(Await([&] { return sheet_ && Focus() != nullptr; }));
    for (const int link : {IDC_GENERAL_PRODUCT_NAME, IDC_GENERAL_NOTICE, IDC_GENERAL_PKI_CONSOLE})
        ASSERT_NO_FATAL_FAILURE(Reach(GetDlgItem(Page(), link))) << link;
    Press(VK_RETURN);  // no console is installed, so its link opens a message box
    ASSERT_NO_FATAL_FAILURE(Close());
    for (const int button :
         {IDC_HARDWARE_READERS, IDC_SERVICE_COPY, IDC_SERVICE_DELETE_PASSWORDS, IDC_ADVANCED_SET_TIMEOUT}) {
        wchar_t text[100] = L"";
        SendMessageW(GoTo(button), WM_GETTEXT, 100, reinterpret_cast<LPARAM>(text));
        Press(std::wcschr(text, L'&')[1] & ~0x20, VK_MENU);
        ASSERT_NO_FATAL_FAILURE(Close()) << button;
    }
    for (const auto& [id, message, key] : {std::tuple{IDC_ALGORITHMS_TYPE, CB_GETCURSEL, VK_DOWN},
                                           {IDC_SECURITY_SAVE_MEDIA, BM_GETCHECK, VK_SPACE},
                                           {IDC_SECURITY_SAVE_MEDIA, BM_GETCHECK, VK_SPACE},
                                           {IDC_TLS_CLIENT_OCSP, BM_GETCHECK, VK_SPACE}}) {
        const HWND control = GoTo(id);
        const LRESULT before = SendMessageW(control, static_cast<UINT>(message), 0, 0);
        ASSERT_NO_FATAL_FAILURE(Reach(control));
        Press(key);
        ASSERT_TRUE(Await([&, asked = message] { return SendMessageW(control, asked, 0, 0) != before; })) << id;
    }
    Press(VK_RETURN);  // OK; then No to the restart
    ASSERT_TRUE(Await([&] { return !SheetIsInFront(); }));
    for (const int key : {VK_RIGHT, VK_RETURN}) Press(key);
    EXPECT_EQ(WaitForSingleObject(process_.get(), kPatience), WAIT_OBJECT_0);
    EXPECT_EQ(switch_.Get(), 1);
}

}  // namespace
