// Passwords: given by the program, asked for in the provider's dialogs, saved, changed.
#include "tests/support/Provider.h"

#include <gtest/gtest.h>

#include <thread>

#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

constexpr wchar_t kName[] = L"С паролем для проверки";

// The container made by the tool, opened anew for each question.
class SoftcspPassword : public testing::Test {
  protected:
    void SetUp() override {
        RunTool(L"set PasswordRounds=100");
        RunTool(L"remove \"" + std::wstring(kName) + L"\"");
        ASSERT_EQ(RunTool(L"create \"" + std::wstring(kName) + L"\" --keys xs --password 1234"), 0u);
    }
    void TearDown() override {
        RunTool(L"remove \"" + std::wstring(kName) + L"\"");
        RunTool(L"store del \\local\\KeyDevices\\passwords");
        RunTool(L"set PasswordRounds=");
    }

    // What loading the keys gives when the dialogs are filled in so.
    static HRESULT Load(std::vector<ModalScript::Step> steps, DWORD flags = 0, const char* given = nullptr) {
        CCryptProvContext context;
        if (const auto opened = context.Acquire(flags, kName, nullptr, 75); !opened) return ErrorOf(opened);
        if (given != nullptr) {
            const auto* data = reinterpret_cast<const BYTE*>(given);
            EXPECT_EQ(ErrorOf(CryptSetProvParam(context.Get(), PP_KEYEXCHANGE_PIN, data, 0)), 0);
        }
        ModalScript script(std::move(steps));
        DWORD loaded = 0, size = sizeof loaded;
        const HRESULT result =
            ErrorOf(CryptGetProvParam(context.Get(), 109, reinterpret_cast<BYTE*>(&loaded), &size, 0));
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(loaded, result == 0 ? 3u : 0u);
        return result;
    }
    static ModalScript::Step Type(const wchar_t* password, bool save = false) {
        return [=](HWND dialog) {
            Ui::Type(dialog, IDC_PASSWORD, password);
            if (save) Ui::Click(dialog, IDC_SAVE);
            Ui::Click(dialog, IDOK);
        };
    }
    static void Cancel(HWND dialog) { Ui::Click(dialog, IDCANCEL); }

    LoadedProvider held_;
};

TEST_F(SoftcspPassword, IsAskedForUntilItIsRight) {
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0);
    EXPECT_EQ(Load({}, 0, "wrong"), static_cast<HRESULT>(SCARD_W_WRONG_CHV));
    EXPECT_EQ(Load({Cancel}), ERROR_CANCELLED);
    EXPECT_EQ(Load({Type(L"wrong"), Type(L"1234")}), 0);
    EXPECT_EQ(Load({Type(L"1"), Type(L"2"), Type(L"3")}), static_cast<HRESULT>(SCARD_W_WRONG_CHV));
    EXPECT_EQ(Load({Type(L"1"), Cancel}), ERROR_CANCELLED);
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(0, kName, nullptr, 75));
    const std::string tooLong(65, '1');
    EXPECT_EQ(
        ErrorOf(CryptSetProvParam(context.Get(), PP_SIGNATURE_PIN, reinterpret_cast<const BYTE*>(tooLong.c_str()), 0)),
        NTE_BAD_DATA);
}

// A thread that the owner of the dialog waits for must be able to use the context.
TEST_F(SoftcspPassword, DialogLeavesTheContextToOtherThreads) {
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(0, kName, nullptr, 75));
    const HANDLE answered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread other;
    DWORD waited = WAIT_FAILED, loaded = 0, size = sizeof loaded;
    ModalScript script({[&](HWND dialog) {
        other = std::thread([&] {
            DWORD version = 0, room = sizeof version;
            CryptGetProvParam(context.Get(), PP_VERSION, reinterpret_cast<BYTE*>(&version), &room, 0);
            SetEvent(answered);
        });
        waited = WaitForSingleObject(answered, 5'000);
        Type(L"1234")(dialog);
    }});
    EXPECT_EQ(ErrorOf(CryptGetProvParam(context.Get(), 109, reinterpret_cast<BYTE*>(&loaded), &size, 0)), 0);
    EXPECT_EQ(waited, WAIT_OBJECT_0) << "the other thread waits for the dialog";
    other.join();
    CloseHandle(answered);
}

TEST_F(SoftcspPassword, IsSavedOnRequestAndForgottenWhenItChanges) {
    EXPECT_EQ(Load({Type(L"1234", true)}), 0);
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0);
    CCryptProvContext context;
    {
        const TestContainer namesake(kName, 71);  // goes without taking the other's password along
        EXPECT_TRUE(namesake.Made());
    }
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0);
    ASSERT_TRUE(context.Acquire(0, kName, nullptr, 75));
    const struct {
        BYTE kind;
        void* value;
    } request{4, nullptr}, unknown{3, nullptr};
    const auto change = [&](const wchar_t* old, bool cancel) {
        ModalScript script({[=](HWND dialog) {
            Ui::Type(dialog, IDC_PASSWORD, old);
            Ui::Type(dialog, IDC_NEW_PASSWORD, L"новый");
            Ui::Type(dialog, IDC_CONFIRMATION, L"новый");
            Ui::Click(dialog, cancel ? IDCANCEL : IDOK);
        }});
        return ErrorOf(CryptSetProvParam(context.Get(), 108, reinterpret_cast<const BYTE*>(&request), 0));
    };
    EXPECT_EQ(ErrorOf(CryptSetProvParam(context.Get(), 108, reinterpret_cast<const BYTE*>(&unknown), 0)), NTE_BAD_DATA);
    EXPECT_EQ(change(L"1234", true), ERROR_CANCELLED);
    EXPECT_EQ(change(L"wrong", false), static_cast<HRESULT>(SCARD_W_WRONG_CHV));
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0);  // the old one holds
    EXPECT_EQ(change(L"1234", false), 0);
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Load({Type(L"новый")}), 0);
}

TEST_F(SoftcspPassword, GuardsDeletionAndIsAskedForANewContainer) {
    CCryptProvContext context;
    {
        ModalScript script({Cancel});
        EXPECT_FALSE(context.Acquire(CRYPT_DELETEKEYSET, kName, nullptr, 75));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    }
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0);
    {
        ModalScript script({Type(L"1234")});
        EXPECT_TRUE(context.Acquire(CRYPT_DELETEKEYSET, kName, nullptr, 75));
    }
    const StoredNumber time(L"\\local\\KeyDevices\\passwd_time", 1);
    ModalScript nobody({[](HWND) {}});  // comes, and is left to its time
    EXPECT_FALSE(context.Acquire(CRYPT_NEWKEYSET, L"\\\\.\\REGISTRY\\never made", nullptr, 75));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_CANCELLED});
    EXPECT_FALSE(context.Acquire(CRYPT_SILENT, L"never made", nullptr, 75));
}

}  // namespace
