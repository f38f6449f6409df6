// A settings page as a real window in a sheet of its own.
#pragma once

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

// In the place of the computer's restart.
struct Restart {
    static inline int restarts;
    static inline std::wstring refused;  // "privilege" or "exit"
    static BOOL WINAPI Adjust(HANDLE, BOOL, TOKEN_PRIVILEGES* wanted, DWORD, TOKEN_PRIVILEGES*, DWORD*) {
        EXPECT_EQ(wanted->Privileges[0].Luid.LowPart, 19u) << "not that of shutting down";
        EXPECT_EQ(wanted->Privileges[0].Attributes, DWORD{SE_PRIVILEGE_ENABLED});
        return SetLastError(refused == L"privilege" ? ERROR_NOT_ALL_ASSIGNED : ERROR_SUCCESS), TRUE;
    }
    static BOOL WINAPI Exit(UINT flags, DWORD reason) {
        EXPECT_EQ(flags, UINT{EWX_REBOOT});
        EXPECT_EQ(reason, 0x80040001);
        return ++restarts, refused != L"exit";
    }
    const ImportPatch adjust{(restarts = 0, refused = L"", "AdjustTokenPrivileges"), &Adjust},
        exit{"ExitWindowsEx", &Exit};
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

// The windows are English, unless the test sets another language.
class SettingsTest : public testing::Test {
  protected:
    using Steps = std::vector<ModalScript::Step>;

    // Opens a page and runs the steps in it; the sheet is cancelled if it is still open then.
    void RunPage(CPropertyPage& page, Steps steps, std::deque<int> answers = {}) {
        CPropertySheet sheet;
        sheet.AddPage(page);
        RunModal([&] { return sheet.DoModal(); }, std::move(steps), std::move(answers));
    }
    // Runs a dialog of a page's; the step ends it.
    template <class Dialog>
    void RunDialog(ModalScript::Step step) {
        RunModal([] { return Dialog().DoModal(); }, {std::move(step)});
    }
    void RunModal(const std::function<INT_PTR()>& open, Steps steps, std::deque<int> answers = {}) {
        ShownBoxes::shown.clear();
        boxes.clear();
        ShownBoxes::answers = std::move(answers);
        const ModalScript script(std::move(steps));
        open();
        EXPECT_TRUE(script.Finished()) << "a step was not reached, or a window procedure crashed";
        for (const Box& box : ShownBoxes::shown) boxes.push_back(box.second);
    }
    static void Apply(HWND sheet) { Ui::Press(sheet, PSBTN_APPLYNOW); }
    static auto Modified(bool expected) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::ApplyEnabled(sheet), expected); };
    }
    // Clicks the buttons one after the other, except for disabled ones; whether there were none.
    static bool ClickAll(HWND window, const std::vector<UINT>& buttons) {
        bool all = true;
        for (const UINT button : buttons) {
            all = all && Ui::Enabled(window, button);
            if (Ui::Enabled(window, button)) Ui::Click(window, button);
        }
        return all;
    }
    // Lets calls of the system, the provider and the store in the scenario fail; the number of calls.
    static size_t Faults(const char* name, const std::function<void()>& scenario,
                         const FaultInjection::Inspect& inspect, const std::set<std::string_view>& again = {},
                         size_t distance = 1) {
        return FaultInjection(FaultInjection::Support::Included).Survive(name, scenario, inspect, distance, again);
    }

    SpokenLanguage language{kEnglish};
    const Restart noRestart{};
    const ShownBoxes noBoxes{};
    Texts boxes;  // the texts of the last run's
};

template <class PageClass>
class SettingsPageTest : public SettingsTest {
  protected:
    void Run(Steps steps, std::deque<int> answers = {}) {
        PageClass page;
        RunPage(page, std::move(steps), std::move(answers));
    }
    void Look(const std::function<void(HWND page)>& look) {
        Run({[&](HWND sheet) { look(Ui::Page(sheet)); }});
    }
    // Lets calls fail while the page opens, is changed and applied, and applied again if that is offered. After a
    // single failure all is stored, unless `change` returned that not everything could be changed.
    void SaveUnderFaults(const char* name, const std::function<bool(HWND page)>& change,
                         const std::function<bool()>& isStored, const std::function<void()>& reset,
                         const std::set<std::string_view>& again, int restart = IDNO) {
        bool changed = false, modified = false;
        const auto save = [&] {
            changed = modified = false;
            Run({[&](HWND sheet) {
                     changed = change(Ui::Page(sheet));
                     Apply(sheet);
                 },
                 [&](HWND sheet) {
                     modified = Ui::ApplyEnabled(sheet);
                     if (modified) Apply(sheet);
                 }},
                {restart});
        };
        const auto inspect = [&](const Fault& fault) -> std::string {
            const bool stored = isStored();
            const auto reports = std::ranges::count(boxes, kSaveFailed);
            reset();
            if (fault.point == Fault::kNone) return stored && reports == 0 ? "" : "is not saved";
            if (reports > 1 && changed && !fault.onwards) return "is reported twice";
            if (stored || !changed) return "";
            if (fault.onwards || fault.memory) return modified || reports != 0 ? "" : "reads as saved";
            return modified ? "can't be saved again" : "reads as saved";
        };
        Faults(name, save, inspect, again, kTenth);  // the loop of the settings document tries each call
    }
};
