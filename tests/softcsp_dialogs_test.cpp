// The software provider's dialogs, by their results and time limits, and the readers that the support library lists.
#include <windows.h>

#include <gtest/gtest.h>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Store.h"
#include "softcsp/dialogs/Dialog.h"
#include "softcsp/dialogs/Dialogs.h"
#include "softcsp/dialogs/resource.h"
#include "softcsp/kvrdr.h"
#include "tests/support/Directory.h"
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
        EXPECT_EQ(DialogTime(L"Test"), time) << stored;
    }
    user.Set(9);
    EXPECT_EQ(DialogTime(L"Test"), 9'000u);
}

// A function of one of the libraries, which stay loaded.
template <class Function>
Function* In(const wchar_t* library, const char* name) {
    const HMODULE module = LoadLibraryW((ProgramDirectory() + library).c_str());
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}
#define SUPPORT(function) In<decltype(function)>(L"kvsuprt.dll", #function)
#define READERS(function) In<decltype(function)>(L"kvrdr.dll", #function)

// There is only the registry while the object exists; then there are the carriers of before again.
class NoCarriers {
  public:
    NoCarriers() { Clear(); }
    ~NoCarriers() {
        Clear();
        for (const Carrier& carrier : before_) AddCarrier(carrier);
    }

  private:
    static void Clear() {
        for (const Carrier& carrier : Carriers()) RemoveCarrier(carrier.name);
    }
    const std::vector<Carrier> before_ = Carriers();
};

// Nickname, connection and title of each reader.
using Titles = std::vector<std::wstring>;
Titles Readers(SUPSYS_REGISTRATION& registration) {
    Titles all;
    HANDLE search = nullptr, reader = nullptr;
    EXPECT_EQ(SUPPORT(supsys_find_open)(&registration, &search), 0u);
    while (SUPPORT(supsys_find_next)(search, &reader) == 0) {
        for (auto* read : {SUPPORT(supsys_nickname), SUPPORT(supsys_connect_current), SUPPORT(supsys_register_name)}) {
            wchar_t text[65] = L"";
            DWORD length = 64;
            EXPECT_EQ(read(reader, &length, text), 0u);
            all.emplace_back(text);
        }
        EXPECT_EQ(SUPPORT(supsys_context_free)(reader), 0u);
    }
    EXPECT_EQ(SUPPORT(supsys_nickname)(search, nullptr, nullptr), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(SUPPORT(supsys_find_close)(search), 0u);
    return all;
}

TEST(SoftcspReaders, AreTheRegistryAndTheCarriersPluggedIn) {
    const NoCarriers none;
    const StoredNumber language(L"\\local\\Language", kRussian);
    SUPPORT(support_wnd_language_update)();
    SUPSYS_REGISTRATION registration{sizeof registration, nullptr};
    EXPECT_EQ(SUPPORT(supsys_register_all)(&registration), DWORD{ERROR_INVALID_HANDLE}) << "not started";
    EXPECT_EQ(READERS(rdr_register_start)(&registration), 0u);
    EXPECT_EQ(Readers(registration), Titles()) << "not registered";
    EXPECT_EQ(SUPPORT(supsys_register_all)(&registration), 0u);
    const Titles registry = {L"REGISTRY", L"", L"Реестр"};
    EXPECT_EQ(Readers(registration), registry);
    EXPECT_EQ(AddCarrier({.name = L"T-1"}), 0u);
    EXPECT_EQ(Readers(registration), (Titles{L"REGISTRY", L"", L"Реестр", L"DISK", L"T-1", L"Диск T-1"}));
    EXPECT_EQ(UpdateCarrier({.name = L"T-1", .present = false, .room = 9}), 0u);
    ASSERT_EQ(Carriers().size(), 2u);
    EXPECT_EQ(Carriers()[1].room, 9u);
    EXPECT_EQ(Readers(registration), registry) << "ejected";
    EXPECT_EQ(SUPPORT(supsys_unregister_all)(&registration, 1), 0u);
    EXPECT_EQ(SUPPORT(supsys_unregister_all)(&registration, 1), DWORD{ERROR_INVALID_HANDLE});
    for (const wchar_t* name :
         {L"", L"REGISTRY", L"t", L"A\\B", L"NUL", L"COM1", L"ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567"}) {
        EXPECT_EQ(AddCarrier({.name = name}), DWORD{ERROR_INVALID_NAME}) << testing::PrintToString(name);
        EXPECT_EQ(RemoveCarrier(name), DWORD{ERROR_FILE_NOT_FOUND}) << testing::PrintToString(name);
    }
    EXPECT_EQ(AddCarrier({.name = L"T-1"}), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(RemoveCarrier(L"T-1"), 0u);
    EXPECT_EQ(UpdateCarrier({.name = L"T-1"}), DWORD{ERROR_FILE_NOT_FOUND});
}

}  // namespace
