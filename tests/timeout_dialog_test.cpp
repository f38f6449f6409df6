// The dialog for the timeouts of user input, against the configuration store.
#include "pages/DialogSetTimeout.h"

#include "settings/InputTimeouts.h"
#include "tests/support/SettingsPage.h"

namespace {

// The user's "default", "infinite", "own" and number; the system's "infinite", "own" and number.
const std::vector<UINT> kChoices = {1093, 1094, 1095, 1083, 1097, 1098, 1084};

struct TimeoutDialog : SettingsTest {
    TimeoutDialog() {
        for (const TimeoutLevel level : {TimeoutLevel::User, TimeoutLevel::System})
            for (const std::wstring& path : TimeoutPaths(level)) numbers.emplace_back(path, std::nullopt);
    }
    // The first value of a level is the one that counts; the others differ from it.
    void Set(Stored user, Stored system) const {
        for (std::size_t i = 0; i < 10; ++i) numbers.at(i).Set(i == 0 ? user : i == 5 ? system : 2);
    }
    // The first of the user's and of the system's five values, and "-" for each further one that differs from it.
    std::string Get() const {
        std::string text;
        for (std::size_t i = 0; i < 10; ++i) {
            const Stored value = numbers.at(i).Get();
            if (i % 5 == 0) text += (value ? std::to_string(*value) : "none") + " ";
            if (value != numbers.at(i / 5 * 5).Get()) text += "- ";
        }
        return text;
    }

    std::deque<StoredNumber> numbers;  // of the user, then of the system
};

TEST_F(TimeoutDialog, ShowsWhatIsStoredAndWritesAllFiveAlike) {
    const std::wstring user = L"\\local\\KeyDevices", system = L"\\global\\KeyDevices";
    const struct {
        Stored user, system;
        const wchar_t* shown;
        std::string written;
        std::wstring denied = {};
    } cases[] = {{{}, {}, L"on, off, off, 600 disabled, off, on, 600", "none 600 "},
                 {0, 70000, L"off, off, on, 1, off, on, 65535", "1 65535 "},
                 {-1, -1, L"off, on, off, 600 disabled, on, off, 600 disabled", "-1 -1 "},
                 {{}, 77, L"on, off, off, 77 disabled, off, on, 77", "none 77 "},
                 {8, 9, L"off disabled, off disabled, on disabled, 8 disabled, off, on, 9", "8 - - - - 9 ", user},
                 {8, 9, L"off, off, on, 8, off disabled, on disabled, 9 disabled", "8 9 - - - - ", system}};
    static std::wstring denied;  // here the store itself would let everything be written
    const LibraryFunction check(
        "support_registry_check_access",
        +[](const wchar_t* path, DWORD* rights) { return *rights = path == denied ? 0 : *rights, DWORD{0}; });
    for (const auto& c : cases) {
        Set(c.user, c.system);
        denied = c.denied;
        RunDialog<CDialogSetTimeout>([&](HWND dialog) {
            EXPECT_EQ(Shown(dialog, kChoices), c.shown);
            EXPECT_EQ(Ui::Enabled(dialog, IDC_TIMEOUT_USER_SECONDS), c.denied != user);
            EXPECT_EQ(Ui::Enabled(dialog, IDC_TIMEOUT_SYSTEM_SECONDS), c.denied != system);
            EXPECT_EQ(Ui::Enabled(dialog, IDC_TIMEOUT_USER_SPIN), Ui::Enabled(dialog, IDC_TIMEOUT_USER_VALUE));
            Ui::Click(dialog, IDOK);
        });
        EXPECT_EQ(Get(), c.written);
    }
}

TEST_F(TimeoutDialog, TakesNumbersInTheRangeOnly) {
    const std::wstring range = L"Enter a whole number between 1 and 65535.", number = L"Enter a whole number.";
    RunDialog<CDialogSetTimeout>([&](HWND dialog) {
        for (const wchar_t* text : {L"65536", L"0", L""}) {
            Ui::Type(dialog, IDC_TIMEOUT_SYSTEM_VALUE, text);
            Ui::Click(dialog, IDOK);
            EXPECT_EQ(GetFocus(), GetDlgItem(dialog, IDC_TIMEOUT_SYSTEM_VALUE)) << text;
        }
        UDACCEL steps[2]{};
        SendDlgItemMessageW(dialog, IDC_TIMEOUT_SYSTEM_SPIN, UDM_GETACCEL, 2, reinterpret_cast<LPARAM>(steps));
        EXPECT_EQ(steps[0].nInc, 10u);
        EXPECT_EQ(steps[1].nInc, 60u);
        SendDlgItemMessageW(dialog, IDC_TIMEOUT_SYSTEM_SPIN, UDM_SETPOS32, 0, 70000);
        for (const wchar_t* typed : {L"5", L"0", L"", L"70000"}) {
            Ui::Click(dialog, IDC_TIMEOUT_USER_SET);
            Ui::Type(dialog, IDC_TIMEOUT_USER_VALUE, typed);
            Ui::Click(dialog, IDC_TIMEOUT_USER_DEFAULT);
            EXPECT_EQ(Shown(dialog, IDC_TIMEOUT_USER_VALUE), L"5 disabled") << "the last valid one";
        }
        Ui::Click(dialog, IDC_TIMEOUT_SYSTEM_INFINITE);
        EXPECT_EQ(Shown(dialog, IDC_TIMEOUT_SYSTEM_VALUE), L"65535 disabled");
        ClickAll(dialog, {IDC_TIMEOUT_SYSTEM_SET, IDOK});
    });
    EXPECT_EQ(boxes, (Texts{range, range, number}));
    EXPECT_EQ(Get(), "none 65535 ");
}

TEST_F(TimeoutDialog, SurvivesEveryFailureWithoutAWord) {
    Set(8, 9);
    const auto change = [&] {
        RunDialog<CDialogSetTimeout>([](HWND dialog) { ClickAll(dialog, {IDC_TIMEOUT_USER_DEFAULT, IDOK}); });
    };
    Faults("timeouts", change, [&](const Fault& fault) -> std::string {
        const std::string stored = Get();
        Set(8, 9);
        const bool one = !fault.onwards && fault.function == std::string("support_registry_put_long");
        if (!boxes.empty()) return "reports a failure";
        if (one && std::ranges::count(stored, '-') > 1) return "does not write the others: " + stored;
        return stored == "none 9 " || fault.point != Fault::kNone ? "" : stored;
    });
}

}  // namespace
