// The dialog for the timeouts of user input, against the configuration store.
#include "pages/DialogSetTimeout.h"

#include <set>

#include "tests/support/SettingsPage.h"

namespace {

const std::wstring kUser = L"\\local\\KeyDevices", kSystem = L"\\global\\KeyDevices";

// The user's "default", "infinite", "own" and number; the system's "infinite", "own" and number.
const std::vector<UINT> kChoices = {1093, 1094, 1095, 1083, 1097, 1098, 1084};

// Here the store itself would let everything be written.
std::wstring denied;
DWORD CheckAccess(const wchar_t* path, DWORD* rights) {
    if (path == denied) *rights = 0;
    return 0;
}

struct TimeoutDialog : SettingsTest {
    TimeoutDialog() {
        for (const std::wstring& section : {kUser, kSystem})
            for (const wchar_t* name : {L"retry_time", L"login_time", L"passwd_time", L"choice_time", L"bio_time"})
                numbers.push_back(std::make_unique<StoredNumber>(section + L"\\" + name, std::nullopt));
    }
    // The first value of a level is the one that counts; the others differ from it.
    void Set(Stored user, Stored system) const {
        const Stored values[] = {user, 2, {}, -1, 70000, system, 2, {}, -1, 70000};
        for (std::size_t i = 0; i < 10; ++i) numbers[i]->Set(values[i]);
    }
    // The different values of the user; of the system.
    std::string Get() const {
        std::string text;
        for (std::size_t level = 0; level < 10; level += 5) {
            std::set<std::string> values;
            for (std::size_t i = level; i < level + 5; ++i) {
                const Stored value = numbers[i]->Get();
                values.insert(value ? std::to_string(*value) : "no");
            }
            for (const std::string& value : values) text += value + " ";
            if (level == 0) text += "; ";
        }
        return text;
    }
    static void Click(HWND dialog, std::initializer_list<UINT> buttons) {
        for (const UINT button : buttons) Ui::Click(dialog, button);
    }

    std::vector<std::unique_ptr<StoredNumber>> numbers;  // of the user, then of the system
};

TEST_F(TimeoutDialog, ShowsWhatIsStoredAndWritesAllFiveAlike) {
    const struct {
        const char* name;
        Stored user, system;
        const wchar_t* shown;
        const char* written;
        std::wstring denied = {};
    } cases[] = {{"nothing", {}, {}, L"on, off, off, 600 disabled, off, on, 600", "no ; 600 "},
                 {"numbers", 30, 20, L"off, off, on, 30, off, on, 20", "30 ; 20 "},
                 {"out of range", 0, 70000, L"off, off, on, 1, off, on, 65535", "1 ; 65535 "},
                 {"negative", -2, -7, L"off, off, on, 1, off, on, 1", "1 ; 1 "},
                 {"infinite", -1, -1, L"off, on, off, 600 disabled, on, off, 600 disabled", "-1 ; -1 "},
                 {"the system's only", {}, 77, L"on, off, off, 77 disabled, off, on, 77", "no ; 77 "},
                 {"the largest", 65535, 0x7FFFFFFF, L"off, off, on, 65535, off, on, 65535", "65535 ; 65535 "},
                 {"the user's denied", 8, 9, L"off disabled, off disabled, on disabled, 8 disabled, off, on, 9",
                  "-1 2 70000 8 no ; 9 ", kUser},
                 {"the system's denied", 8, 9, L"off, off, on, 8, off disabled, on disabled, 9 disabled",
                  "8 ; -1 2 70000 9 no ", kSystem}};
    const LibraryFunction check("support_registry_check_access", &CheckAccess);
    ForgetSupportFunctions();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Set(c.user, c.system);
        denied = c.denied;
        RunDialog<CDialogSetTimeout>([&](HWND dialog) {
            EXPECT_EQ(Shown(dialog, kChoices), c.shown);
            for (const UINT id : {IDC_TIMEOUT_USER_GROUP, IDC_TIMEOUT_USER_SECONDS})
                EXPECT_EQ(Ui::Enabled(dialog, id), c.denied != kUser) << id;
            for (const UINT id : {IDC_TIMEOUT_SYSTEM_GROUP, IDC_TIMEOUT_SYSTEM_SECONDS})
                EXPECT_EQ(Ui::Enabled(dialog, id), c.denied != kSystem) << id;
            for (const UINT edit : {IDC_TIMEOUT_USER_VALUE, IDC_TIMEOUT_SYSTEM_VALUE})
                EXPECT_EQ(Ui::Enabled(dialog, edit + 2), Ui::Enabled(dialog, edit)) << "the arrows of " << edit;
            Ui::Click(dialog, IDOK);
        });
        EXPECT_EQ(Get(), c.written);
    }
    ForgetSupportFunctions();
}

TEST_F(TimeoutDialog, EnablesTheNumberThatIsChosen) {
    Set(8, 9);
    RunDialog<CDialogSetTimeout>([](HWND dialog) {
        for (const auto& [radio, shown] :
             {std::pair{IDC_TIMEOUT_USER_DEFAULT, L"on, off, off, 8 disabled, off, on, 9"},
              {IDC_TIMEOUT_SYSTEM_INFINITE, L"on, off, off, 8 disabled, on, off, 9 disabled"},
              {IDC_TIMEOUT_USER_SET, L"off, off, on, 8, on, off, 9 disabled"},
              {IDC_TIMEOUT_SYSTEM_SET, L"off, off, on, 8, off, on, 9"},
              {IDC_TIMEOUT_USER_INFINITE, L"off, on, off, 8 disabled, off, on, 9"}}) {
            Ui::Click(dialog, radio);
            EXPECT_EQ(Shown(dialog, kChoices), shown);
        }
        Click(dialog, {IDC_TIMEOUT_SYSTEM_INFINITE, IDOK});
    });
    RunDialog<CDialogSetTimeout>([](HWND dialog) {
        Click(dialog, {IDC_TIMEOUT_USER_DEFAULT, IDC_TIMEOUT_SYSTEM_SET, IDCANCEL});
    });
    EXPECT_EQ(Get(), "-1 ; -1 ");
}

TEST_F(TimeoutDialog, ADisabledNumberIsTheLastValidOne) {
    for (const auto& [typed, kept] : {std::pair{L"0", L"600"}, {L"", L"600"}, {L"70000", L"600"}, {L"5", L"5"}}) {
        SCOPED_TRACE(testing::PrintToString(std::wstring(typed)));
        Set({}, {});
        RunDialog<CDialogSetTimeout>([&](HWND dialog) {
            Ui::Type(dialog, IDC_TIMEOUT_SYSTEM_VALUE, L"7");
            Ui::Click(dialog, IDC_TIMEOUT_USER_SET);
            Ui::Type(dialog, IDC_TIMEOUT_USER_VALUE, typed);
            Ui::Click(dialog, IDC_TIMEOUT_USER_DEFAULT);
            EXPECT_EQ(Ui::Text(dialog, IDC_TIMEOUT_USER_VALUE), kept);
            Ui::Click(dialog, IDOK);
        });
        EXPECT_EQ(boxes, Texts{});
        EXPECT_EQ(Get(), "no ; 7 ");
    }
}

TEST_F(TimeoutDialog, TakesNumbersInTheRangeOnly) {
    const std::wstring range = L"Enter a whole number between 1 and 65535.", number = L"Enter a whole number.";
    RunDialog<CDialogSetTimeout>([&](HWND dialog) {
        Ui::Click(dialog, IDC_TIMEOUT_USER_SET);
        for (const int edit : {IDC_TIMEOUT_USER_VALUE, IDC_TIMEOUT_SYSTEM_VALUE}) {
            for (const wchar_t* text : {L"65536", L"0", L""}) {
                Ui::Type(dialog, static_cast<UINT>(edit), text);
                Ui::Click(dialog, IDOK);
                EXPECT_EQ(GetFocus(), GetDlgItem(dialog, edit)) << text;
            }
            EXPECT_EQ(SendDlgItemMessageW(dialog, edit, EM_GETLIMITTEXT, 0, 0), 5);
            UDACCEL steps[2]{};
            SendDlgItemMessageW(dialog, edit + 2, UDM_GETACCEL, 2, reinterpret_cast<LPARAM>(steps));
            EXPECT_EQ(steps[0].nInc, 10u);
            EXPECT_EQ(steps[1].nSec, 5u);
            EXPECT_EQ(steps[1].nInc, 60u);
            SendDlgItemMessageW(dialog, edit + 2, UDM_SETPOS32, 0, 70000);
        }
        Ui::Click(dialog, IDOK);
    });
    EXPECT_EQ(boxes, (Texts{range, range, number, range, range, number}));
    EXPECT_EQ(Get(), "65535 ; 65535 ");
}

TEST_F(TimeoutDialog, SurvivesEveryFailureWithoutAWord) {
    std::set<std::string> stores;  // that single failures lead to
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::string stored = Get();
        Set(8, 9);
        if (!fault.onwards) stores.insert(stored);
        return boxes.empty() && (fault.point != Fault::kNone || stored == "no ; 9 ") ? "" : "stores " + stored;
    };
    Set(8, 9);
    const auto change = [&] {
        RunDialog<CDialogSetTimeout>([](HWND dialog) { Click(dialog, {IDC_TIMEOUT_USER_DEFAULT, IDOK}); });
    };
    Faults("timeouts", change, inspect);
    const std::set<std::string> possible = {"-1 2 70000 8 no ; -1 2 70000 9 no ",  // the dialog didn't open
                                            "-1 2 70000 8 no ; 9 ",
                                            "no ; -1 2 70000 9 no ",  // a level that can't be written
                                            "8 no ; 9 ",
                                            "2 no ; 9 ",
                                            "no ; 9 ",
                                            "-1 no ; 9 ",
                                            "70000 no ; 9 ",  // a value that isn't removed
                                            "no ; 2 9 ",
                                            "no ; 9 no ",
                                            "no ; -1 9 ",
                                            "no ; 70000 9 ",
                                            "no ; 600 "};  // a value that isn't written or read
    EXPECT_EQ(stores, possible);
}

}  // namespace
