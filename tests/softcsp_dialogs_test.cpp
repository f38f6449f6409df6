// The software provider's dialogs as the user meets them.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include <functional>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Language.h"
#include "softcsp/dialogs/DialogTime.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

const std::wstring kName(260, L'Ж');
const std::vector<ContainerChoice> kContainers = {{L"zeta", L"REGISTRY"}, {kName, L"TOKEN"}, {L"alpha", L"TOKEN"}};
const std::vector<Carrier> kCarriers = {
    {.name = L"OUT", .removable = true, .present = false}, {.name = L"REGISTRY"}, {.name = L"IN", .removable = true}};

void Choose(HWND dialog, int row) {
    EXPECT_FALSE(Ui::Enabled(dialog, IDOK));
    ListView_SetItemState(GetDlgItem(dialog, IDC_LIST), row, LVIS_SELECTED, LVIS_SELECTED);
}
int Rows(HWND dialog) {
    return ListView_GetItemCount(GetDlgItem(dialog, IDC_LIST));
}
void TypeNew(HWND dialog, const wchar_t* text, const wchar_t* again) {
    Ui::Type(dialog, IDC_NEW_PASSWORD, text);
    Ui::Type(dialog, IDC_CONFIRMATION, again);
    EXPECT_EQ(SendDlgItemMessageW(dialog, IDC_NEW_PASSWORD, EM_GETLIMITTEXT, 0, 0), LRESULT{Password::kLongest});
}

// A dialog, how a user fills it in, and whether it then gave what the user meant.
PasswordAnswer answer;
Password made;
PasswordChange change;
std::size_t chosen;
const struct {
    const wchar_t *english, *russian;  // titles
    std::function<DWORD(HWND)> show;
    std::function<void(HWND)> fill;
    std::function<bool()> given;
} kDialogs[] = {
    {L"Private Key Container Password", L"Пароль контейнера закрытого ключа",
     [](HWND owner) {
         return AskPassword(owner, {kName, true, true}, answer);
     },
     [](HWND dialog) {
         EXPECT_TRUE(Ui::Visible(dialog, IDC_REFUSED) && GetFocus() == GetDlgItem(dialog, IDC_PASSWORD));
         EXPECT_EQ(Ui::Text(dialog, IDC_CONTAINER), kName);
         Ui::Type(dialog, IDC_PASSWORD, L"Пароль1");
         Ui::Click(dialog, IDC_SAVE);
     },
     [] { return answer.password.Text() == L"Пароль1" && answer.save; }},
    {L"New Private Key Container Password", L"Новый пароль контейнера закрытого ключа",
     [](HWND owner) { return AskNewPassword(owner, kName, made); },
     [](HWND dialog) { TypeNew(dialog, L"secret", L"secret"); }, [] { return made.Text() == L"secret"; }},
    {L"Change Private Key Container Password", L"Изменение пароля контейнера закрытого ключа",
     [](HWND owner) { return AskPasswordChange(owner, kName, true, change); },
     [](HWND dialog) {
         Ui::Type(dialog, IDC_PASSWORD, L"old");
         TypeNew(dialog, L"", L"");
     },
     [] { return change.old.Text() == L"old" && change.next.Empty(); }},
    {L"Choose a Private Key Container", L"Выбор контейнера закрытого ключа",
     [](HWND owner) { return ChooseContainer(owner, kContainers, chosen); }, [](HWND dialog) { Choose(dialog, 2); },
     [] { return chosen == 2; }},
    {L"Choose a Carrier", L"Выбор носителя", [](HWND owner) { return ChooseCarrier(owner, kName, kCarriers, chosen); },
     [](HWND dialog) {
         EXPECT_EQ(Rows(dialog), 2);  // the absent one isn't offered
         Choose(dialog, 1);
     },
     [] { return chosen == 2; }},
};

void ForgetGiven() {
    answer = {};
    made = Password(L"kept");
    change = {Password(L"kept"), Password(L"kept")};
    chosen = 77;
}

TEST(SoftcspDialogs, GiveWhatTheUserMeantInBothLanguages) {
    const HWND owner =
        CreateWindowW(WC_STATICW, L"", WS_POPUP | WS_VISIBLE, 0, 0, 90, 90, nullptr, nullptr, nullptr, nullptr);
    const HWND child = CreateWindowW(WC_STATICW, L"", WS_CHILD, 0, 0, 9, 9, owner, nullptr, nullptr, nullptr);
    const StoredNumber language(L"\\local\\Language", std::nullopt);
    for (const DWORD spoken : {kEnglish, kRussian}) {
        language.Set(static_cast<long>(spoken));
        for (const auto& dialog : kDialogs)
            for (const UINT button : {IDCANCEL, IDOK}) {
                ForgetGiven();
                HWND above = nullptr;
                std::wstring title;
                ModalScript script({[&](HWND window) {
                    title = Ui::Text(window);
                    above = GetWindow(window, GW_OWNER);
                    EXPECT_FALSE(IsWindowEnabled(owner));
                    dialog.fill(window);
                    Ui::Click(window, button);
                }});
                EXPECT_EQ(dialog.show(child), button == IDOK ? ERROR_SUCCESS : DWORD{ERROR_CANCELLED}) << title;
                EXPECT_EQ(title, spoken == kRussian ? dialog.russian : dialog.english);
                EXPECT_EQ(above, owner) << title;
                EXPECT_EQ(dialog.given(), button == IDOK) << title;
                EXPECT_TRUE(script.Finished() && IsWindowEnabled(owner)) << title;
            }
    }
    DestroyWindow(owner);
}

TEST(SoftcspDialogs, DifferingPasswordsAreToldAndTheDialogStays) {
    ForgetGiven();
    HWND dialog = nullptr;
    ModalScript script({[&](HWND window) {
                            dialog = window;
                            TypeNew(window, L"one", L"two");
                            Ui::Click(window, IDOK);
                        },
                        [&](HWND window) {
                            EXPECT_TRUE(window == dialog && made.Text() == L"kept");
                            EXPECT_EQ(GetFocus(), GetDlgItem(window, IDC_NEW_PASSWORD));
                            TypeNew(window, L"two", L"two");
                            Ui::Click(window, IDOK);
                        }});
    EXPECT_EQ(AskNewPassword(nullptr, L"c", made), 0u);
    EXPECT_EQ(made.Text(), L"two");
    ASSERT_EQ(script.Boxes().size(), 1u);
    EXPECT_EQ(script.Boxes()[0].owner, dialog);
}

TEST(SoftcspDialogs, ShowOnlyWhatThereIs) {
    for (const bool all : {false, true}) {
        ModalScript script({[=](HWND window) {
            EXPECT_TRUE(Ui::Visible(window, IDC_REFUSED) == all && Ui::Visible(window, IDC_SAVE) == all);
            Ui::Click(window, IDCANCEL);
        }});
        AskPassword(nullptr, {L"c", all, all}, answer);
    }
    for (const bool containers : {false, true}) {
        ModalScript script({[](HWND window) {
            EXPECT_TRUE(Ui::Visible(window, IDC_NONE) && Rows(window) == 0);
            EXPECT_FALSE(Ui::Enabled(window, IDOK));
            SendMessageW(window, WM_COMMAND, IDOK, 0);  // as the Enter key does
            Ui::Click(window, IDCANCEL);
        }});
        EXPECT_EQ(
            containers ? ChooseContainer(nullptr, {}, chosen) : ChooseCarrier(nullptr, L"c", {kCarriers[0]}, chosen),
            DWORD{ERROR_CANCELLED});
    }
}

TEST(SoftcspDialogs, CloseThemselvesWhenTheirTimeIsOver) {
    const StoredNumber retry(L"\\local\\KeyDevices\\retry_time", 0), password(L"\\local\\KeyDevices\\passwd_time", 1),
        choice(L"\\local\\KeyDevices\\choice_time", -2);
    for (const auto& dialog : kDialogs) {
        ForgetGiven();
        EXPECT_EQ(dialog.show(nullptr), DWORD{ERROR_CANCELLED}) << dialog.english;
        EXPECT_FALSE(dialog.given()) << dialog.english;
    }
    ModalScript script({[](HWND window) {
                           TypeNew(window, L"one", L"two");
                           Ui::Click(window, IDOK);
                       }},
                       {0});  // nobody answers the box
    EXPECT_EQ(AskNewPassword(nullptr, L"c", made), DWORD{ERROR_CANCELLED});
    EXPECT_TRUE(script.Boxes().size() == 1 && !IsWindow(script.Boxes()[0].owner));
}

TEST(SoftcspDialogs, TakeTheUsersTimeBeforeTheMachines) {
    const StoredNumber user(L"\\local\\KeyDevices\\Test", std::nullopt),
        all(L"\\global\\KeyDevices\\Test", std::nullopt);
    EXPECT_EQ(DialogTime(L"Test"), 600'000u);
    for (const auto& [stored, time] : {std::pair{5L, 5'000ul},
                                       {0, 1'000},
                                       {-7, 1'000},
                                       {-1, kNoTimeLimit},
                                       {LONG_MAX, USER_TIMER_MAXIMUM / 1000 * 1000ul}}) {
        all.Set(stored);
        EXPECT_EQ(DialogTime(L"Test"), time);
    }
    user.Set(9);
    EXPECT_EQ(DialogTime(L"Test"), 9'000u);
}

}  // namespace
