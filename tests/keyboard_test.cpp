// The panel in the system's own control.exe, driven by the keyboard alone.
#include <windows.h>
#include <commctrl.h>
#include <prsht.h>

#include <gtest/gtest.h>

#include <string>
#include <tuple>

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
        Await([&] {
            return (sheet_ = SheetWatch::Find(started.dwProcessId)) != nullptr && SheetWatch::IsPainted(sheet_);
        });
        SetForegroundWindow(sheet_);
    }
    ~ControlPanel() { TerminateProcess(process_.get(), 1); }  // one that hasn't ended

    HWND Sheet() const { return sheet_; }
    bool Ended() const { return WaitForSingleObject(process_.get(), kPatience) == WAIT_OBJECT_0; }

    HWND Focus() const { return Input().hwndFocus; }
    // The window above the sheet that takes the keys; the sheet itself when there is none.
    HWND Front() const { return Input().hwndActive; }
    // The page that the sheet or a wizard shows, and a control of it.
    HWND Page(HWND wizard = nullptr) const {
        return reinterpret_cast<HWND>(SendMessageW(wizard ? wizard : sheet_, PSM_GETCURRENTPAGEHWND, 0, 0));
    }
    HWND Control(int id, HWND wizard = nullptr) const { return GetDlgItem(Page(wizard), id); }

  private:
    GUITHREADINFO Input() const {
        GUITHREADINFO info{};
        info.cbSize = sizeof info;
        GetGUIThreadInfo(GetWindowThreadProcessId(sheet_, nullptr), &info);
        return info;
    }

    UniqueKernelHandle process_;
    HWND sheet_ = nullptr;
};

void Send(WORD key, DWORD flags) {
    INPUT input{};
    input.type = INPUT_KEYBOARD;
    (flags & KEYEVENTF_UNICODE ? input.ki.wScan : input.ki.wVk) = key;
    input.ki.dwFlags = flags;
    SendInput(1, &input, sizeof input);
}

// `flags` KEYEVENTF_UNICODE: the key is a character.
void Press(WORD key, WORD with = 0, DWORD flags = 0) {
    if (with) Send(with, 0);
    for (const DWORD up : {0, KEYEVENTF_KEYUP}) Send(key, flags | up);
    if (with) Send(with, KEYEVENTF_KEYUP);
}

void Type(const std::wstring& text) {
    for (const wchar_t c : text) Press(c, 0, KEYEVENTF_UNICODE);
}

std::wstring TextOf(HWND window) {
    wchar_t text[300] = L"";
    SendMessageW(window, WM_GETTEXT, 300, reinterpret_cast<LPARAM>(text));
    return text;
}

class Keyboard : public testing::Test {
  protected:
    static constexpr wchar_t kName[] = L"Клавиатура";
    Keyboard() { RunTool(std::wstring(L"create ") + kName); }
    ~Keyboard() override { RunTool(std::wstring(L"remove ") + kName); }

    // A control, on the next page that has it; every page on the way has something that takes the keys.
    HWND GoTo(int id) const {
        for (int pages = 0; pages < 8 && !panel_.Control(id); ++pages) {
            const HWND before = panel_.Page();
            Press(VK_TAB, VK_CONTROL);
            EXPECT_TRUE(Await([&] { return panel_.Page() != before && IsChild(panel_.Page(), panel_.Focus()); })) << id;
        }
        return panel_.Control(id);
    }
    void Tab() const {
        const HWND before = panel_.Focus();
        Press(VK_TAB);
        ASSERT_TRUE(Await([&] { return panel_.Focus() != before; }));
    }
    // `key` 0: the access key in the control's text.
    void Operate(HWND control, WORD key) const {
        const std::wstring text = TextOf(control);
        if (key == 0) return Press(static_cast<WORD>(text[text.find(L'&') + 1] & ~0x20), VK_MENU);
        ASSERT_NO_FATAL_FAILURE(Reach(control));
        Press(key);
    }
    void Reach(HWND control) const {
        for (int tabs = 0; panel_.Focus() != control && tabs < 40; ++tabs) Tab();
        ASSERT_EQ(panel_.Focus(), control);
    }

    const StoredNumber language_{L"\\local\\Language", 1033};
    const StoredNumber default_{L"\\config\\Language", 1033};
    const StoredNumber switch_{L"\\config\\Parameters\\tls_client_use_ocsp_extensions", 0};
    const ControlPanel panel_;
};

TEST_F(Keyboard, ReachesEverythingInControlExe) {
    ASSERT_TRUE(panel_.Sheet() && Await([&] { return panel_.Focus() != nullptr; }));
    for (const int link : {IDC_GENERAL_PRODUCT_NAME, IDC_GENERAL_NOTICE, IDC_GENERAL_PKI_CONSOLE})
        ASSERT_NO_FATAL_FAILURE(Reach(panel_.Control(link))) << link;
    Press(VK_RETURN);  // no console is installed, so its link opens a message box
    ASSERT_TRUE(Await([&] { return panel_.Front() != panel_.Sheet(); }));
    Press(VK_ESCAPE);
    ASSERT_TRUE(Await([&] { return panel_.Front() == panel_.Sheet(); }));
    for (const int button : {IDC_HARDWARE_READERS, IDC_SERVICE_CHECK, IDC_SERVICE_CHANGE_PASSWORD, IDC_SERVICE_COPY,
                             IDC_SERVICE_DELETE, IDC_SERVICE_VIEW_CERTIFICATES, IDC_SERVICE_INSTALL_CERTIFICATE,
                             IDC_SERVICE_DELETE_PASSWORDS, IDC_ADVANCED_SET_TIMEOUT}) {
        const bool shared = button == IDC_SERVICE_CHECK || button == IDC_SERVICE_CHANGE_PASSWORD;  // the access key
        Operate(GoTo(button), shared ? VK_SPACE : 0);
        ASSERT_TRUE(Await([&] { return panel_.Front() != panel_.Sheet() && IsChild(panel_.Front(), panel_.Focus()); }))
            << button;
        if (button == IDC_SERVICE_CHECK) {  // on to the report
            const HWND wizard = panel_.Front(), name = panel_.Control(IDC_SELECT_NAME, wizard);
            ASSERT_TRUE(Await([&] { return panel_.Focus() == name; }));
            Type(kName);
            ASSERT_TRUE(Await([&] { return TextOf(name) == kName; }));
            Press(VK_RETURN);
            EXPECT_TRUE(Await([&] {
                const HWND report = panel_.Control(IDC_REPORT_ROWS, wizard);
                return SendMessageW(report, LVM_GETITEMCOUNT, 0, 0) > 20;
            }));
        }
        Press(VK_ESCAPE);
        ASSERT_TRUE(Await([&] { return panel_.Front() == panel_.Sheet(); })) << button;
    }
    // Boxes and lists, there and back, but for the last one.
    for (const auto& [id, message, there, back] : {std::tuple{IDC_ALGORITHMS_TYPE, CB_GETCURSEL, VK_DOWN, VK_UP},
                                                   {IDC_SECURITY_SAVE_MEDIA, BM_GETCHECK, VK_SPACE, VK_SPACE},
                                                   {IDC_WINLOGON_DISABLE, BM_GETCHECK, VK_SPACE, VK_SPACE},
                                                   {IDC_GENERAL_MACHINE_LANGUAGE, CB_GETCURSEL, VK_UP, VK_DOWN},
                                                   {IDC_TLS_CLIENT_OCSP, BM_GETCHECK, VK_SPACE, 0}}) {
        const HWND control = GoTo(id);
        for (const int key : {there, back}) {
            const LRESULT before = SendMessageW(control, static_cast<UINT>(message), 0, 0);
            if (key == 0) break;
            Operate(control, static_cast<WORD>(key));
            ASSERT_TRUE(Await([&] { return SendMessageW(control, static_cast<UINT>(message), 0, 0) != before; })) << id;
        }
    }
    Press(VK_RETURN);  // OK; then No to the restart
    ASSERT_TRUE(Await([&] { return panel_.Front() != panel_.Sheet(); }));
    for (const WORD key : {WORD{VK_ESCAPE}, WORD{VK_RIGHT}, WORD{VK_RETURN}}) Press(key);
    EXPECT_TRUE(panel_.Ended());
    EXPECT_EQ(switch_.Get(), 1);
}

}  // namespace
