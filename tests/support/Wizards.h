// What the tests of the wizards have in common.
#pragma once

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "framework/PropertySheet.h"
#include "tests/support/Boxes.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"
#include "tests/support/SystemCalls.h"

using Step = ModalScript::Step;
using Steps = std::vector<Step>;
using Texts = std::vector<std::wstring>;

inline Steps operator+(Steps left, const Steps& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// A message with a text of the string table.
inline Box Told(UINT style, UINT id, const Insert& first = {}, const Insert& second = {}) {
    return {style, FormatStringId(id, first, second)};
}
// The same with the text of an error code for the second insert.
inline Box ToldError(UINT style, UINT id, const Insert& first, HRESULT code) {
    return Told(style, id, first, Insert::AsItIs(ErrorMessageText(static_cast<DWORD>(code))));
}
inline Box ToldCode(HRESULT code) {
    return {MB_ICONERROR, ErrorMessageText(static_cast<DWORD>(code))};
}

// English windows. Each client window that was set must have been reset before the next one and at the end.
class WizardTest : public testing::Test {
  protected:
    ~WizardTest() override { EXPECT_TRUE(ClientIsReset()); }

    // Runs a wizard through the steps, then cancels it if it is still open; whether it was finished. Questions are
    // answered with `answers`, then with Yes. The wizard's end must keep the last error, which its caller may show.
    template <class Wizard>
    static bool Run(const Steps& steps, const std::deque<int>& answers = {}) {
        ShownBoxes::shown.clear();
        ShownBoxes::answers = answers;
        const ModalScript script(steps);
        std::optional<Wizard> wizard(std::in_place, nullptr);
        const bool finished = wizard->DoModal() == ID_WIZFINISH;
        EXPECT_TRUE(script.Finished());
        SetLastError(ERROR_CRC);
        wizard.reset();
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CRC});
        return finished;
    }
    static Step Type(const std::wstring& text, UINT edit = IDC_SELECT_NAME) {
        return [=](HWND sheet) { Ui::Type(Ui::Page(sheet), edit, text.c_str()); };
    }
    static Step Click(UINT id) {
        return [=](HWND sheet) { Ui::Click(Ui::Page(sheet), id); };
    }
    static Step Press(int button) {
        return [=](HWND sheet) { Ui::Press(sheet, button); };
    }
    static Step SelectProvider(int position) {
        return [=](HWND sheet) { Ui::Select(Ui::Page(sheet), IDC_SELECT_PROVIDER, position); };
    }
    static Step NextIs(bool enabled) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::Enabled(sheet, kNext), enabled); };
    }
    static Step Shows(UINT control, const std::wstring& text, bool enabled = true) {
        return [=](HWND sheet) {
            EXPECT_EQ(Ui::Text(Ui::Page(sheet), control), text);
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), control), enabled);
        };
    }
    // The rows of a list with two columns.
    static Texts Rows(HWND sheet, UINT list) {
        const HWND window = GetDlgItem(Ui::Page(sheet), static_cast<int>(list));
        Texts rows;
        for (int row = 0; row < ListView_GetItemCount(window); ++row) {
            wchar_t cells[2][300] = {};
            for (const int column : {0, 1}) ListView_GetItemText(window, row, column, cells[column], 300);
            rows.push_back(cells[0] + std::wstring(L"|") + cells[1]);
        }
        return rows;
    }

    bool ClientIsSet() const { return client_ != nullptr; }
    // Whether it is reset now, and was set and reset by turns.
    bool ClientIsReset() { return !std::exchange(client_, nullptr) && !std::exchange(twice_, false); }

    static constexpr UINT kBack = 0x3023, kNext = 0x3024, kFinish = 0x3025;  // the sheet's buttons
    const Step next = Press(PSBTN_NEXT), back = Press(PSBTN_BACK), finish = Press(PSBTN_FINISH),
               computer = Click(IDC_SELECT_COMPUTER);
    const SpokenLanguage language{kEnglish};
    const ShownBoxes box;
    static inline Boxes& shown = ShownBoxes::shown;  // by the last run

  private:
    HWND client_ = nullptr;
    bool twice_ = false;  // set, or reset, twice
    const SystemCalls clientCalls_{[this](const SystemCalls::Call& call) {
        if (call.name != "CryptSetProvParam" || call.a[1] != PP_CLIENT_HWND) return call();
        const HWND before = std::exchange(client_, *call.At<const HWND*>(2));
        twice_ |= !before == !client_;
        return SystemCalls::Fail(ERROR_INVALID_PARAMETER);  // as systems do that require a provider
    }};
};

// A wizard while calls fail, one in ten: the engines have loops of their own for all. `Fixture` is a WizardTest.
template <class Fixture>
class TorturedWizard : public Fixture {
  protected:
    // Made before the fixture, whose own patches then see the calls that fail too.
    static void SetUpTestSuite() { injection.emplace(); }
    static void TearDownTestSuite() { injection.reset(); }

    // Works on a page, then presses the button, or Cancel when the page stays or a failure was reported.
    Step Leave(const Step& work, int button = PSBTN_NEXT) {
        return [=, this](HWND sheet) {
            const bool stays = std::exchange(left_, Ui::Page(sheet)) == Ui::Page(sheet);
            if (!stays) work(sheet);
            Ui::Press(sheet, stays || Reports() != 0 ? PSBTN_CANCEL : button);
        };
    }
    // `verdict` returns what is wrong with what a run left, empty for nothing, and prepares the next run. A wizard that
    // is not finished has reported a failure, in `most` messages at the most.
    template <class Wizard>
    void Survive(const char* name, const Steps& steps, const std::function<std::string()>& verdict, int most = 1) {
        const auto run = [&] {
            ShownBoxes::shown.clear();
            finished = false;
            left_ = nullptr;
            const ModalScript script(steps);
            finished = Wizard(nullptr).DoModal() == ID_WIZFINISH;
        };
        const auto inspect = [&](const Fault& fault) -> std::string {
            const auto reports = Reports();
            std::string problem = verdict();
            if (!this->ClientIsReset()) return "the client window stays";
            if (!finished && fault.point == Fault::kNone) return "unfinished without a fault";
            const bool told = reports <= (finished ? 0 : most) && (finished || reports > 0 || fault.memory);
            return told ? problem : std::to_string(reports) + " messages";
        };
        injection->Survive(name, run, inspect, kTenth);
    }

    bool finished = false;
    const Step none = [](HWND) {};

  private:
    // The reported failures, which questions and successes are not.
    static auto Reports() {
        return std::ranges::count_if(ShownBoxes::shown, [](const Box& box) {
            return (box.first & MB_YESNO) == 0 && (box.first & MB_ICONMASK) != MB_ICONINFORMATION;
        });
    }
    static inline std::optional<FaultInjection> injection;
    HWND left_ = nullptr;
};
