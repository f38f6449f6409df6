// A settings page as a real window in a sheet of its own.
#pragma once

#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <winternl.h>

#include "framework/PropertySheet.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"

constexpr wchar_t kSaveFailed[] = L"Error saving parameters.";
constexpr wchar_t kRestartQuestion[] =
    L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot now?";

// In the place of the computer's restart, which is never taken for real.
struct Restart {
    static inline int calls;             // 10 for each privilege, 1 for each restart
    static inline std::wstring refused;  // "privilege" or "exit"
    static inline HANDLE token;          // whose privilege was asked for
    static BOOL WINAPI Adjust(HANDLE opened, BOOL, TOKEN_PRIVILEGES* wanted, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
        PUBLIC_OBJECT_BASIC_INFORMATION object{};
        token = opened;
        NtQueryObject(token, ObjectBasicInformation, &object, sizeof object, nullptr);
        LUID_AND_ATTRIBUTES shutdown{{}, SE_PRIVILEGE_ENABLED};
        LookupPrivilegeValueW(nullptr, L"SeShutdownPrivilege", &shutdown.Luid);
        EXPECT_EQ(object.GrantedAccess, ACCESS_MASK{TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY});
        EXPECT_EQ(memcmp(&shutdown, wanted->Privileges, sizeof shutdown), 0) << "another privilege";
        calls += 10;
        return SetLastError(refused == L"privilege" ? ERROR_NOT_ALL_ASSIGNED : ERROR_SUCCESS), TRUE;
    }
    static BOOL WINAPI Exit(UINT flags, DWORD reason) {
        EXPECT_GT(++calls, 10) << "without the privilege";
        EXPECT_EQ(flags, UINT{EWX_REBOOT});
        EXPECT_EQ(reason, 0x80040001);
        return refused != L"exit";
    }
    const ImportPatch adjust{(calls = 0, refused = L"", token = nullptr, nullptr), "AdjustTokenPrivileges", &Adjust},
        exit{nullptr, "ExitWindowsEx", &Exit};
};

// English windows, unless the test says otherwise.
template <class Page>
class SettingsPageTest : public testing::Test {
  protected:
    // Opens the page and runs the steps in it; the sheet is cancelled if it is still open then.
    void Run(std::vector<ModalScript::Step> steps, std::deque<int> answers = {}) {
        Page page;
        CPropertySheet sheet;
        sheet.AddPage(page);
        RunModal(sheet, ModalScript(std::move(steps), std::move(answers)));
    }
    INT_PTR RunModal(auto&& window, const ModalScript& script) {
        const INT_PTR result = window.DoModal();
        EXPECT_TRUE(script.Finished());
        boxes.clear();
        for (const ShownBox& box : script.Boxes()) boxes.push_back(box.text);
        return result;
    }
    // Runs a dialog of the page's; the step ends it.
    template <class Dialog>
    INT_PTR RunDialog(ModalScript::Step step) {
        return RunModal(Dialog(), ModalScript({std::move(step)}));
    }
    // Clicks these buttons, the last of which ends the dialog; what the controls showed before each click.
    template <class Dialog>
    std::vector<std::wstring> ClickThrough(const std::vector<UINT>& buttons, const std::vector<UINT>& controls) {
        std::vector<std::wstring> shown;
        const INT_PTR result = RunDialog<Dialog>([&](HWND dialog) {
            for (const UINT button : buttons) shown.push_back(Shown(dialog, controls)), Ui::Click(dialog, button);
        });
        EXPECT_EQ(result, static_cast<INT_PTR>(buttons.back()));
        return shown;
    }
    // The controls one after the other: "x" for a box or radio button that is chosen, "-" for one that isn't, and texts
    // with a space before them; in brackets what is disabled.
    static std::wstring Shown(HWND dialog, const std::vector<UINT>& controls) {
        std::wstring all;
        for (const UINT id : controls) {
            const HWND control = ::GetDlgItem(dialog, static_cast<int>(id));
            const bool button = (SendMessageW(control, WM_GETDLGCODE, 0, 0) & (DLGC_BUTTON | DLGC_RADIOBUTTON)) != 0;
            const bool chosen = button && SendMessageW(control, BM_GETCHECK, 0, 0) == BST_CHECKED;
            const std::wstring text = button ? (chosen ? L"x" : L"-") : L" " + Ui::Text(control);
            all += IsWindowEnabled(control) ? text : L"(" + text + L")";
        }
        return all;
    }
    void Look(const std::function<void(HWND page)>& look) {
        Run({[&](HWND sheet) { look(Ui::Page(sheet)); }});
    }
    // The number of calls of the system, the provider and the store in the scenario that can fail. Each of them failed.
    static size_t Faults(const char* name, const std::function<void()>& scenario,
                         const FaultInjection::Inspect& inspect, const std::set<std::string_view>& again = {}) {
        ForgetSupportFunctions();
        const size_t points =
            FaultInjection(nullptr, FaultInjection::Support::Included).Survive(name, scenario, inspect, 1, again);
        ForgetSupportFunctions();
        return points;
    }

    // The boxes of the last run: "?" the question for a restart, "!" the failure to save, "x" any other.
    std::string Told() const {
        std::string told;
        for (const std::wstring& box : boxes) told += box == kRestartQuestion ? '?' : box == kSaveFailed ? '!' : 'x';
        return told;
    }

    using Texts = std::vector<std::wstring>;
    SpokenLanguage language{kEnglish};
    const Restart noRestart;
    Texts boxes;  // of the last run
};
