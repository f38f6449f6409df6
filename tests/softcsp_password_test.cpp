// Passwords: given by the program, asked for in the provider's dialogs, saved, changed.
#include "tests/support/SoftProvider.h"

#include <thread>

#include "softcsp/common/Store.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

constexpr wchar_t kName[] = L"С паролем для проверки";
constexpr HRESULT kWrong = static_cast<HRESULT>(SCARD_W_WRONG_CHV);

ModalScript::Step Type(const wchar_t* password, bool save = false) {
    return [=](HWND dialog) {
        Ui::Type(dialog, IDC_PASSWORD, password);
        if (save) Ui::Click(dialog, IDC_SAVE);
        Ui::Click(dialog, IDOK);
    };
}
void Cancel(HWND dialog) {
    Ui::Click(dialog, IDCANCEL);
}

struct SoftcspPassword : testing::Test {
    ~SoftcspPassword() override { RunTool(L"store del \\local\\KeyDevices\\passwords"); }

    void Open(DWORD flags = 0) {
        ASSERT_TRUE(context_.Acquire(flags, kName, nullptr, 75)) << std::hex << GetLastError();
    }
    HCRYPTPROV Get() const { return context_.Get(); }

    // The result of loading the keys in a new context while the dialogs are filled in so.
    HRESULT Load(std::vector<ModalScript::Step> steps, DWORD flags = 0, const char* given = "") {
        Open(flags);
        EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, given), 0);
        ModalScript script(std::move(steps));
        const HRESULT result = LoadKeys(Get());
        EXPECT_TRUE(script.Finished()) << "a dialog was not shown";
        return result;
    }

    LoadedProvider held_;
    ChangedSetting rounds_{kPasswordRoundsSetting, 100};
    ToolContainer container_{kName, L"--keys xs --password 1234"};
    CCryptProvContext context_;
};

TEST_F(SoftcspPassword, IsAskedForUntilItIsRight) {
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0);
    EXPECT_EQ(NumberParameter(Get(), kParamLoadKeys), 3u) << "both keys";
    EXPECT_EQ(Load({}, 0, "wrong"), kWrong);
    EXPECT_EQ(Load({Cancel}), ERROR_CANCELLED);
    EXPECT_EQ(Load({Type(L"wrong"), Type(L"1234")}), 0);
    EXPECT_EQ(Load({Type(L"1"), Type(L"2"), Type(L"3")}), kWrong);
    EXPECT_EQ(Load({Type(L"1"), Cancel}), ERROR_CANCELLED);
    EXPECT_EQ(Set(Get(), PP_SIGNATURE_PIN, std::string(65, '1').c_str()), NTE_BAD_DATA) << "too long";
}

// A thread that the owner of the dialog waits for must be able to use the context.
TEST_F(SoftcspPassword, DialogLeavesTheContextToOtherThreads) {
    Open();
    const HANDLE answered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread other;
    DWORD waited = WAIT_FAILED;
    ModalScript script({[&](HWND dialog) {
        other = std::thread([&] {
            Parameter(Get(), PP_VERSION);
            SetEvent(answered);
        });
        waited = WaitForSingleObject(answered, 5'000);
        Type(L"1234")(dialog);
    }});
    EXPECT_EQ(LoadKeys(Get()), 0);
    EXPECT_EQ(waited, WAIT_OBJECT_0) << "the other thread waits for the dialog";
    other.join();
    CloseHandle(answered);
}

TEST_F(SoftcspPassword, IsSavedOnRequestAndForgottenWhenItChanges) {
    EXPECT_EQ(Load({Type(L"1234", true)}), 0);
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0);
    { const TestContainer namesake(kName, 71); }
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0) << "forgotten with a container of the other type";
    const auto change = [&](const wchar_t* old, UINT button) {
        ModalScript script({[=](HWND dialog) {
            Ui::Type(dialog, IDC_PASSWORD, old);
            Ui::Type(dialog, IDC_NEW_PASSWORD, L"новый");
            Ui::Type(dialog, IDC_CONFIRMATION, L"новый");
            Ui::Click(dialog, button);
        }});
        const PasswordRequest request{kPasswordByDialog, nullptr};
        Open();
        return Set(Get(), kParamChangePassword, &request);
    };
    const PasswordRequest unknown{3, nullptr};
    EXPECT_EQ(Set(Get(), kParamChangePassword, &unknown), NTE_BAD_DATA);
    EXPECT_EQ(change(L"1234", IDCANCEL), ERROR_CANCELLED);
    EXPECT_EQ(change(L"wrong", IDOK), kWrong);
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0) << "the old one";
    EXPECT_EQ(change(L"1234", IDOK), 0);
    StoreValue saved;
    const std::wstring section = L"\\local\\KeyDevices\\passwords\\75/REGISTRY/" + std::wstring(kName);
    EXPECT_EQ(Store().Find((section + L"\\passwd").c_str(), saved), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT) << "the saved one is forgotten";
    EXPECT_EQ(Load({Type(L"новый")}), 0);
}

TEST_F(SoftcspPassword, GuardsDeletionAndIsAskedForANewContainer) {
    constexpr HRESULT kCancelled = HRESULT_FROM_WIN32(ERROR_CANCELLED);
    {
        ModalScript script({Cancel});
        EXPECT_EQ(ErrorOf(context_.Acquire(CRYPT_DELETEKEYSET, kName, nullptr, 75)), kCancelled);
    }
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0) << "still there";
    {
        ModalScript script({Type(L"1234")});
        EXPECT_EQ(ErrorOf(context_.Acquire(CRYPT_DELETEKEYSET, kName, nullptr, 75)), 0);
    }
    const StoredNumber limit(L"\\local\\KeyDevices\\passwd_time", 1);
    ModalScript nobody({[](HWND) {}});  // the dialog is left to its time limit
    const std::wstring name = L"\\\\.\\REGISTRY\\never created";
    EXPECT_EQ(ErrorOf(context_.Acquire(CRYPT_NEWKEYSET, name.c_str(), nullptr, 75)), kCancelled);
    EXPECT_EQ(Acquire(name), NTE_BAD_KEYSET);
}

}  // namespace
