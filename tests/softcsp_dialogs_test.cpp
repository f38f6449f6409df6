// The software provider's dialogs: their results, their time limits and what they show.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

void TypeNew(HWND dialog, const wchar_t* text, const wchar_t* again) {
    Ui::Type(dialog, IDC_NEW_PASSWORD, text);
    Ui::Type(dialog, IDC_CONFIRMATION, again);
    Ui::Click(dialog, IDOK);
}

TEST(SoftcspDialogs, ReturnTheNewPasswordOnceItWasTypedTwice) {
    PasswordChange change;
    ModalScript script({[](HWND window) {
                            EXPECT_FALSE(Ui::Visible(window, IDC_PASSWORD)) << "there is no old one";
                            TypeNew(window, L"one", L"two");
                        },
                        [](HWND window) { TypeNew(window, L"two", L"two"); }});
    EXPECT_EQ(AskPasswordChange(nullptr, L"c", false, change), 0u);
    EXPECT_EQ(change.next.Text(), L"two");
    EXPECT_EQ(script.Boxes().size(), 1u) << "the message about different passwords";
}

TEST(SoftcspDialogs, SelectTheFirstChoiceAndNoneOfAnEmptyList) {
    std::size_t chosen = 77;
    {
        ModalScript script({[](HWND window) { Ui::Click(window, IDOK); }});
        EXPECT_EQ(ChooseCarrier(nullptr, L"c", {{.name = L"OUT", .removable = true, .present = false}, {.name = L"IN"}},
                                chosen),
                  0u);
        EXPECT_EQ(chosen, 1u);
    }
    ModalScript script({[](HWND window) {
        EXPECT_TRUE(Ui::Visible(window, IDC_NONE));
        EXPECT_FALSE(Ui::Enabled(window, IDOK));
        Ui::Click(window, IDCANCEL);
    }});
    EXPECT_EQ(ChooseContainer(nullptr, {}, chosen), DWORD{ERROR_CANCELLED});
}

TEST(SoftcspDialogs, EndWithTheirTimeLimitAlsoBehindAMessage) {
    const StoredNumber limit(L"\\local\\KeyDevices\\passwd_time", 1);
    Password password(L"kept");
    ModalScript script({[](HWND window) { TypeNew(window, L"one", L"two"); }}, {0});  // nobody closes the message
    EXPECT_EQ(AskNewPassword(nullptr, L"c", password), DWORD{ERROR_CANCELLED});
    EXPECT_EQ(password.Text(), L"kept");
}

TEST(SoftcspDialogs, PreferTheUsersTimeLimit) {
    const StoredNumber user(L"\\local\\KeyDevices\\Test", std::nullopt),
        all(L"\\global\\KeyDevices\\Test", std::nullopt);
    EXPECT_EQ(DialogTime(L"Test"), 600'000u);
    for (const auto& [stored, time] : {std::pair{5L, 5'000ul}, {0, 1'000}, {-7, 1'000}, {-1, kNoTimeLimit}}) {
        all.Set(stored);
        EXPECT_EQ(DialogTime(L"Test"), time);
    }
    user.Set(9);
    EXPECT_EQ(DialogTime(L"Test"), 9'000u);
}

}  // namespace
