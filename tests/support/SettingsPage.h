// A settings page as a real window in a sheet of its own.
#pragma once

#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <winternl.h>

#include "framework/PropertySheet.h"
#include "tests/support/Boxes.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"

using Stored = std::optional<long>;
using Texts = std::vector<std::wstring>;

constexpr wchar_t kSaveFailed[] = L"Error saving parameters.";
constexpr wchar_t kRestartQuestion[] =
    L"Reboot is required to change Vestra CSP operation mode. Do you want to reboot now?";
constexpr wchar_t kOnlyAdministrators[] = L"Only an administrator can change these settings.";

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

// What a control shows: "on" or "off" for a box or radio button, otherwise its text; then "disabled" if it is.
inline std::wstring Shown(HWND dialog, UINT id) {
    const HWND control = GetDlgItem(dialog, static_cast<int>(id));
    const bool button = (SendMessageW(control, WM_GETDLGCODE, 0, 0) & (DLGC_BUTTON | DLGC_RADIOBUTTON)) != 0;
    const bool on = button && SendMessageW(control, BM_GETCHECK, 0, 0) == BST_CHECKED;
    const std::wstring shown = button ? (on ? L"on" : L"off") : Ui::Text(control);
    return IsWindowEnabled(control) ? shown : shown + L" disabled";
}
inline std::wstring Shown(HWND dialog, const std::vector<UINT>& controls) {
    std::wstring all;
    for (const UINT id : controls) all += (all.empty() ? L"" : L", ") + Shown(dialog, id);
    return all;
}

// English windows, unless the test says otherwise.
class SettingsTest : public testing::Test {
  protected:
    // Opens a page and runs the steps in it; the sheet is cancelled if it is still open then.
    void RunPage(CPropertyPage& page, std::vector<ModalScript::Step> steps, std::deque<int> answers = {}) {
        CPropertySheet sheet;
        sheet.AddPage(page);
        RunModal([&] { return sheet.DoModal(); }, std::move(steps), std::move(answers));
    }
    // Runs a dialog of a page's; the step ends it.
    template <class Dialog>
    INT_PTR RunDialog(ModalScript::Step step) {
        return RunModal([] { return Dialog().DoModal(); }, {std::move(step)});
    }
    INT_PTR RunModal(const std::function<INT_PTR()>& open, std::vector<ModalScript::Step> steps,
                     std::deque<int> answers = {}) {
        ShownBoxes::shown.clear();
        ShownBoxes::answers = std::move(answers);
        const ModalScript script(std::move(steps));
        const INT_PTR result = open();
        EXPECT_TRUE(script.Finished()) << "a step was not reached, or a window procedure crashed";
        boxes.clear();
        for (const Box& box : ShownBoxes::shown) boxes.push_back(box.second);
        return result;
    }
    // Lets each call of the system, the provider and the store in the scenario fail; the number of the calls.
    static size_t Faults(const char* name, const std::function<void()>& scenario,
                         const FaultInjection::Inspect& inspect, const std::set<std::string_view>& again = {}) {
        ForgetSupportFunctions();
        const size_t points =
            FaultInjection(nullptr, FaultInjection::Support::Included).Survive(name, scenario, inspect, 1, again);
        ForgetSupportFunctions();
        return points;
    }

    SpokenLanguage language{kEnglish};
    const Restart noRestart;
    const ShownBoxes noBoxes;
    Texts boxes;  // the texts of the last run's
};

template <class PageClass>
class SettingsPageTest : public SettingsTest {
  protected:
    void Run(std::vector<ModalScript::Step> steps, std::deque<int> answers = {}) {
        PageClass page;
        RunPage(page, std::move(steps), std::move(answers));
    }
    void Look(const std::function<void(HWND page)>& look) {
        Run({[&](HWND sheet) { look(Ui::Page(sheet)); }});
    }
};
