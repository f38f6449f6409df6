// The dialog for the timeouts of user input, against the configuration store.
#include "pages/DialogSetTimeout.h"

#include <set>

#include "pages/PropPageConfigCSPAdvanced.h"
#include "tests/support/SettingsPage.h"

namespace {

using Stored = std::optional<long>;
const std::wstring kUser = L"\\local\\KeyDevices", kSystem = L"\\global\\KeyDevices";
const std::vector<UINT> kControls = {1093, 1094, 1095, 1083, 1097, 1098, 1084};  // choices and edits

// Here the store itself would let everything be written.
std::wstring denied;
DWORD CheckAccess(const wchar_t* path, DWORD* rights) {
    if (path == denied) *rights = 0;
    return 0;
}

struct TimeoutDialog : SettingsPageTest<CPropPageConfigCSPAdvanced> {
    TimeoutDialog() {
        for (const std::wstring& section : {kUser, kSystem})
            for (const wchar_t* name : {L"retry_time", L"login_time", L"passwd_time", L"choice_time", L"bio_time"})
                numbers.push_back(std::make_unique<StoredNumber>(section + L"\\" + name, std::nullopt));
    }
    // The values that count, and others in those that don't.
    void Set(Stored user, Stored system) const {
        const Stored values[] = {user, 2, {}, -1, 70000, system, 2, {}, -1, 70000};
        for (std::size_t i = 0; i < 10; ++i) numbers[i]->Set(values[i]);
    }
    // The different values of the user, then the system.
    std::string Get() const {
        std::string text;
        for (std::size_t level = 0; level < 10; level += 5) {
            std::set<std::string> values;
            for (std::size_t i = level; i < level + 5; ++i) {
                const Stored value = numbers[i]->Get();
                values.insert(value ? std::to_string(*value) : "no");
            }
            for (const std::string& value : values) text += value + " ";
        }
        return text;
    }
    std::vector<std::unique_ptr<StoredNumber>> numbers;
};

TEST_F(TimeoutDialog, ShowsWhatIsStoredAndWritesAllFiveAlike) {
    const struct {
        Stored user, system;
        const wchar_t *shown, *denied;
        const char* written;
    } cases[] = {{{}, {}, L"x--( 600)-x 600", L"", "no 600 "},
                 {30, 20, L"--x 30-x 20", L"", "30 20 "},
                 {0, 70000, L"--x 1-x 65535", L"", "1 65535 "},
                 {-2, -7, L"--x 1-x 1", L"", "1 1 "},
                 {-1, -1, L"-x-( 600)x-( 600)", L"", "-1 -1 "},
                 {{}, 77, L"x--( 77)-x 77", L"", "no 77 "},
                 {65535, 0x7FFFFFFF, L"--x 65535-x 65535", L"", "65535 65535 "},
                 {8, 9, L"(-)(-)(x)( 8)-x 9", L"\\local\\KeyDevices", "-1 2 70000 8 no 9 "},
                 {8, 9, L"--x 8(-)(x)( 9)", L"\\global\\KeyDevices", "8 -1 2 70000 9 no "}};
    const LibraryFunction check("support_registry_check_access", &CheckAccess);
    ForgetSupportFunctions();
    for (const auto& c : cases) {
        Set(c.user, c.system);
        denied = c.denied;
        RunDialog<CDialogSetTimeout>([&](HWND dialog) {
            EXPECT_EQ(Shown(dialog, kControls), c.shown);
            for (const UINT control : {1087, 1091}) EXPECT_EQ(Ui::Enabled(dialog, control), c.denied != kUser);
            for (const UINT control : {1088, 1092}) EXPECT_EQ(Ui::Enabled(dialog, control), c.denied != kSystem);
            for (const UINT edit : {1083, 1084}) EXPECT_EQ(Ui::Enabled(dialog, edit), Ui::Enabled(dialog, edit + 2));
            Ui::Click(dialog, IDOK);
        });
        EXPECT_EQ(Get(), c.written);
    }
    ForgetSupportFunctions();
}

TEST_F(TimeoutDialog, WritesWhatIsChosen) {
    Set(8, 9);
    EXPECT_EQ(ClickThrough<CDialogSetTimeout>({1093, 1097, 1095, 1098, 1094, 1097, IDOK}, kControls),
              (Texts{L"--x 8-x 9", L"x--( 8)-x 9", L"x--( 8)x-( 9)", L"--x 8x-( 9)", L"--x 8-x 9", L"-x-( 8)-x 9",
                     L"-x-( 8)x-( 9)"}));
    ClickThrough<CDialogSetTimeout>({1093, 1098, IDCANCEL}, {});
    EXPECT_EQ(Get(), "-1 -1 ");
    for (const auto& [typed, kept] : {std::pair{L"0", L"x--( 600)-x 7"},
                                      {L"", L"x--( 600)-x 7"},
                                      {L"70000", L"x--( 600)-x 7"},
                                      {L"5", L"x--( 5)-x 7"}}) {
        Set({}, {});
        RunDialog<CDialogSetTimeout>([&](HWND dialog) {
            Ui::Click(dialog, 1098), Ui::Type(dialog, 1084, L"7");
            Ui::Click(dialog, 1095), Ui::Type(dialog, 1083, typed);
            Ui::Click(dialog, 1093);
            EXPECT_EQ(Shown(dialog, kControls), kept) << "the last valid number in the disabled edit";
            Ui::Click(dialog, IDOK);
        });
        EXPECT_TRUE(boxes.empty()) << typed;
        EXPECT_EQ(Get(), "no 7 ") << typed;
    }
}

TEST_F(TimeoutDialog, TakesNumbersInTheRangeOnly) {
    const std::wstring range = L"Enter a whole number between 1 and 65535.", number = L"Enter a whole number.";
    RunDialog<CDialogSetTimeout>([&](HWND dialog) {
        Ui::Click(dialog, 1095);
        for (const int edit : {1083, 1084}) {
            for (const wchar_t* text : {L"65536", L"0", L""}) {
                Ui::Type(dialog, static_cast<UINT>(edit), text);
                Ui::Click(dialog, IDOK);
                EXPECT_TRUE(IsWindow(dialog) && GetFocus() == GetDlgItem(dialog, edit)) << text;
            }
            EXPECT_EQ(SendDlgItemMessageW(dialog, edit, EM_GETLIMITTEXT, 0, 0), 5);
            UDACCEL steps[2]{};
            SendDlgItemMessageW(dialog, edit + 2, UDM_GETACCEL, 2, reinterpret_cast<LPARAM>(steps));
            EXPECT_TRUE(steps[0].nSec == 0 && steps[0].nInc == 10 && steps[1].nSec == 5 && steps[1].nInc == 60);
            SendDlgItemMessageW(dialog, edit + 2, UDM_SETPOS32, 0, 70000);
        }
        Ui::Click(dialog, IDOK);
    });
    EXPECT_EQ(boxes, (Texts{range, range, number, range, range, number}));
    EXPECT_EQ(Get(), "65535 65535 ");
}

TEST_F(TimeoutDialog, SurvivesEveryFailureWithoutAWord) {
    std::set<std::string> stores;  // that single failures lead to
    const auto inspect = [&](const Fault& fault) -> std::string {
        const std::string stored = Get();
        Set(8, 9);
        if (!fault.onwards) stores.insert(stored);
        return boxes.empty() && (fault.point != Fault::kNone || stored == "no 9 ") ? "" : "stores " + stored;
    };
    Set(8, 9);
    const auto change = [&] { ClickThrough<CDialogSetTimeout>({1093, IDOK}, {}); };
    Faults("timeouts", change, inspect);
    EXPECT_EQ(stores, (std::set<std::string>{"-1 2 70000 8 no -1 2 70000 9 no ",           // the dialog didn't open
                                             "-1 2 70000 8 no 9 ", "no -1 2 70000 9 no ",  // not to be written
                                             "8 no 9 ", "2 no 9 ", "no 9 ", "-1 no 9 ", "70000 no 9 ", "no 2 9 ",
                                             "no 9 no ", "no -1 9 ", "no 70000 9 ", "no 600 "}));
}

}  // namespace
