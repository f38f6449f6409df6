// Passwords: given by the program, asked for in the provider's dialogs, saved, changed.
#include <thread>

#include "softcsp/dialogs/resource.h"
#include "tests/support/ModalScript.h"
#include "tests/support/SoftProvider.h"

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

    // The result of loading the keys in a new context while the dialogs are filled in so.
    HRESULT Load(std::vector<ModalScript::Step> steps, DWORD flags = 0, const char* given = "") {
        EXPECT_TRUE(context_.Acquire(flags, kName, nullptr, 75));
        EXPECT_EQ(Set(context_.Get(), PP_KEYEXCHANGE_PIN, given), 0);
        ModalScript script(std::move(steps));
        const HRESULT result = LoadKeys(context_.Get());
        EXPECT_TRUE(script.Finished()) << "a dialog was not shown";
        return result;
    }

    LoadedProvider held_;
    ProviderSetting rounds_{kPasswordRoundsSetting, 100};
    ToolContainer container_{kName, L"--keys xs --password 1234"};
    CCryptProvContext context_;
};

TEST_F(SoftcspPassword, IsAskedForUntilItIsRight) {
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0);
    EXPECT_EQ(Load({}, 0, "wrong"), kWrong);
    EXPECT_EQ(Load({Type(L"wrong"), Type(L"1234")}), 0);
    EXPECT_EQ(Load({Type(L"1"), Type(L"2"), Type(L"3")}), kWrong);
    EXPECT_EQ(Set(context_.Get(), PP_SIGNATURE_PIN, std::string(65, '1').c_str()), NTE_BAD_DATA) << "too long";
}

// A thread that the owner of the dialog waits for must be able to use the context.
TEST_F(SoftcspPassword, DialogLeavesTheContextToOtherThreads) {
    std::thread other;
    const HANDLE answered = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const auto useElsewhere = [&](HWND dialog) {
        other = std::thread([&] {
            Parameter(context_.Get(), PP_VERSION);
            SetEvent(answered);
        });
        EXPECT_EQ(WaitForSingleObject(answered, 5'000), WAIT_OBJECT_0) << "the other thread waits for the dialog";
        Type(L"1234")(dialog);
    };
    EXPECT_EQ(Load({useElsewhere}), 0);
    other.join();
    CloseHandle(answered);
}

TEST_F(SoftcspPassword, IsSavedOnRequestAndForgottenWhenItChanges) {
    EXPECT_EQ(Load({Type(L"1234", true)}), 0);
    { const TestContainer namesake(kName, 71); }
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0) << "forgotten with a container of the other type";
    const auto change = [&](const wchar_t* old) {
        ModalScript script({[=](HWND dialog) {
            Ui::Type(dialog, IDC_NEW_PASSWORD, L"новый");
            Ui::Type(dialog, IDC_CONFIRMATION, L"новый");
            Type(old)(dialog);
        }});
        const PasswordRequest request{kPasswordByDialog, nullptr};
        return Set(context_.Get(), kParamChangePassword, &request);
    };
    EXPECT_EQ(Load({}), 0);
    EXPECT_EQ(change(L"wrong"), kWrong);
    EXPECT_EQ(Load({}), 0);
    EXPECT_EQ(change(L"1234"), 0);
    std::wstring saved;
    const std::wstring section = L"\\local\\KeyDevices\\passwords\\75/REGISTRY/" + std::wstring(kName);
    EXPECT_EQ(Store().ReadText(section + L"\\passwd", saved), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(Load({Type(L"новый")}), 0);
}

TEST_F(SoftcspPassword, GuardsDeletionAndIsAskedForANewContainer) {
    constexpr HRESULT kCancelled = HRESULT_FROM_WIN32(ERROR_CANCELLED);
    const auto acquire = [&](ModalScript::Step step, DWORD flags, const wchar_t* name) {
        ModalScript script({std::move(step)});
        return ErrorOf(context_.Acquire(flags, name, nullptr, 75));
    };
    EXPECT_EQ(acquire(Cancel, CRYPT_DELETEKEYSET, kName), kCancelled);
    EXPECT_EQ(acquire(Type(L"1234"), CRYPT_DELETEKEYSET, kName), 0) << "still there";
    EXPECT_EQ(acquire(Cancel, CRYPT_NEWKEYSET, L"\\\\.\\REGISTRY\\never created"), kCancelled);
    EXPECT_EQ(Acquire(L"\\\\.\\REGISTRY\\never created"), NTE_BAD_KEYSET);
}

}  // namespace
