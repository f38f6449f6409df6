// What the tests of the wizards have in common.
#pragma once

#include <windows.h>
#include <commctrl.h>
#include <prsht.h>
#include <wincrypt.h>

#include <memory>

#include "tests/support/Boxes.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"
#include "wizards/WizardCheckContainer.h"

// Stands in for the opening of containers: notes what is asked for, and gives a context without a container.
class Acquisitions {
  public:
    std::vector<std::wstring> calls;  // "container|provider|type|flags"
    DWORD error = 0;                  // not 0: the next ones fail with it

  private:
    static BOOL WINAPI Acquire(HCRYPTPROV* handle, LPCWSTR container, LPCWSTR provider, DWORD type, DWORD flags) {
        self_->calls.push_back(std::wstring(container ? container : L"") + L"|" + provider + L"|" +
                               std::to_wstring(type) + L"|" + std::to_wstring(flags));
        SetLastError(self_->error);
        const auto original = self_->patch_.Original<decltype(CryptAcquireContextW)>();
        return !self_->error && original(handle, nullptr, provider, type, CRYPT_VERIFYCONTEXT);
    }
    static inline Acquisitions* self_;
    ImportPatch patch_{(self_ = this, nullptr), "CryptAcquireContextW", &Acquire};
};

inline std::vector<ModalScript::Step> operator+(std::vector<ModalScript::Step> left,
                                                const std::vector<ModalScript::Step>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// English windows. After each test every client window that was set must have been reset.
class WizardTest : public testing::Test {
  protected:
    ~WizardTest() override {
        for (size_t i = 0; i < clients_.size(); ++i) EXPECT_EQ(clients_[i] != nullptr, i % 2 == 0);
        EXPECT_EQ(clients_.size() % 2, 0u);
    }
    // Runs a wizard through the steps, then cancels it if it is still open. `answers` go to its message boxes.
    INT_PTR Run(CPropertySheet& wizard, std::vector<ModalScript::Step> steps, std::deque<int> answers = {}) {
        ModalScript script(std::move(steps), std::move(answers));
        const INT_PTR result = wizard.DoModal();
        EXPECT_TRUE(script.Finished());
        boxes.clear();
        for (const ShownBox& box : script.Boxes()) boxes.push_back(box.text);
        return result;
    }
    // The check wizard. Its end hides no error that its caller is about to show.
    INT_PTR Check(std::vector<ModalScript::Step> steps) {
        auto wizard = std::make_unique<CWizardCheckContainer>(nullptr);
        const INT_PTR result = Run(*wizard, std::move(steps));
        SetLastError(ERROR_CRC);
        wizard.reset();
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CRC});
        return result;
    }
    static auto Type(const wchar_t* name) {
        return [=](HWND sheet) { Ui::Type(Ui::Page(sheet), IDC_SELECT_NAME, name); };
    }
    static auto Click(UINT id) {
        return [=](HWND sheet) { Ui::Click(Ui::Page(sheet), id); };
    }
    static auto Press(int button) {
        return [=](HWND sheet) { Ui::Press(sheet, button); };
    }
    static auto Post(UINT button) {  // for what opens a dialog
        return [=](HWND sheet) { PostMessageW(GetDlgItem(Ui::Page(sheet), static_cast<int>(button)), BM_CLICK, 0, 0); };
    }
    static auto NextIs(bool enabled) {
        return [=](HWND sheet) { EXPECT_EQ(Ui::Enabled(sheet, kNext), enabled); };
    }
    static auto Shows(UINT control, const std::wstring& text, bool enabled = true) {
        return [=](HWND sheet) {
            EXPECT_EQ(Ui::Text(Ui::Page(sheet), control), text);
            EXPECT_EQ(Ui::Enabled(Ui::Page(sheet), control), enabled);
        };
    }
    static constexpr UINT kBack = 0x3023, kNext = 0x3024, kFinish = 0x3025;  // the sheet's buttons
    using Texts = std::vector<std::wstring>;
    using Step = ModalScript::Step;
    using Steps = std::vector<Step>;
    SpokenLanguage language{kEnglish};
    Texts boxes;  // of the last run

    static bool ClientIsSet() { return !clients_.empty() && clients_.back(); }
    // Whether the client window set last was none; what was set before is forgotten.
    static bool ClientIsReset() {
        const bool reset = clients_.empty() || clients_.back() == nullptr;
        clients_.clear();
        return reset;
    }

  private:
    static BOOL WINAPI SetClient(HCRYPTPROV provider, DWORD parameter, const BYTE* data, DWORD flags) {
        if (parameter != PP_CLIENT_HWND)
            return self_->patch_.Original<decltype(CryptSetProvParam)>()(provider, parameter, data, flags);
        clients_.push_back(*reinterpret_cast<const HWND*>(data));
        SetLastError(ERROR_INVALID_PARAMETER);  // as systems do that want a provider
        return FALSE;
    }
    static inline WizardTest* self_;
    static inline std::vector<HWND> clients_;
    ImportPatch patch_{(self_ = this, clients_.clear(), nullptr), "CryptSetProvParam", &SetClient};
};

// Wizards some of whose calls fail.
template <class Fixture>
struct TorturedWizards : UnderFaults<Fixture> {
    template <class Wizard>
    void Survive(const char* name, const std::vector<ModalScript::Step>& steps, const FaultInjection::Inspect& verdict,
                 std::size_t distance = 1) {
        run = [&] {
            ShownBoxes::shown.clear();
            finished = false;
            const ModalScript script(steps);
            finished = Wizard(nullptr).DoModal() == ID_WIZFINISH;
        };
        const auto inspect = [&](const Fault& fault) -> std::string {
            const std::string wrong = verdict(fault);
            if (!this->ClientIsReset()) return "the client window stays";
            return finished || fault.point != Fault::kNone ? wrong : "unfinished without a fault";
        };
        this->injection->Survive(name, run, inspect, distance);
    }
    std::function<void()> run;  // once more
    bool finished = false;      // the last run
};
