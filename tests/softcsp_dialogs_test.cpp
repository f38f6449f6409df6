// The software provider's dialogs, by their results and time limits, and the names of carriers.

#include "softcsp/common/Carriers.h"
#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

TEST(SoftcspDialogs, OfferPresentCarriersAndNothingOfAnEmptyList) {
    std::size_t chosen = 77;
    ModalScript script({[](HWND dialog) { Ui::Click(dialog, IDOK); },
                        [](HWND dialog) {
                            EXPECT_FALSE(Ui::Enabled(dialog, IDOK));
                            Ui::Click(dialog, IDCANCEL);
                        }});
    EXPECT_EQ(ChooseCarrier(nullptr, L"c", {{.name = L"OUT", .present = false}, {.name = L"IN"}}, chosen), 0u);
    EXPECT_EQ(chosen, 1u);
    EXPECT_EQ(ChooseContainer(nullptr, {}, chosen), DWORD{ERROR_CANCELLED});
}

TEST(SoftcspDialogs, EndWithTheirTimeLimitAlsoBehindAMessage) {
    const StoredNumber limit(L"\\local\\KeyDevices\\passwd_time", 1);
    Password password(L"kept");
    const auto type = [](HWND dialog) {
        Ui::Type(dialog, IDC_NEW_PASSWORD, L"one");
        Ui::Type(dialog, IDC_CONFIRMATION, L"two");
        Ui::Click(dialog, IDOK);
    };
    const auto stillOpen = [](HWND) { ADD_FAILURE() << "The dialog is still open."; };
    const ModalScript script({type, stillOpen}, ModalScript::Messages::Left);
    EXPECT_EQ(AskNewPassword(nullptr, L"c", password), DWORD{ERROR_CANCELLED});
    EXPECT_EQ(password.Text(), L"kept");
}

TEST(SoftcspDialogs, PreferTheUsersTimeLimit) {
    const StoredNumber user(L"\\local\\KeyDevices\\Test", 9), all(L"\\global\\KeyDevices\\Test", -7);
    EXPECT_EQ(DialogTime(L"Test"), 9'000u);
    user.Set(std::nullopt);
    EXPECT_EQ(DialogTime(L"Test"), 1'000u);
    user.Set(-1);
    EXPECT_EQ(DialogTime(L"Test"), kNoTimeLimit);
}

TEST(SoftcspCarriers, HaveNamesThatAreNoDevices) {
    for (const wchar_t* name : {L"REGISTRY", L"t", L"A\\B", L"NUL", L"COM1", L"ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567"})
        EXPECT_EQ(AddCarrier({.name = name}), DWORD{ERROR_INVALID_NAME}) << testing::PrintToString(name);
}

}  // namespace
