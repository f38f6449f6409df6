// What protects a container's file and its keys: authentication, access rights, the lock, and its password, which is
// given by the program, asked for in the provider's dialogs, saved and changed.
#include <aclapi.h>
#include <sddl.h>

#include <future>

#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerProtection.h"
#include "softcsp/container/ContainerStore.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/SoftProvider.h"

namespace {

using namespace softcsp;

const ContainerStore kStore(Owner::User, 75);
const ContainerPlace kPlace{{.name = kRegistryCarrier}, L"С паролем"};

constexpr HRESULT kWrong = static_cast<HRESULT>(SCARD_W_WRONG_CHV);

std::wstring FolderOf(Owner owner) {
    return ContainerFolder(kPlace.carrier, owner, 75);
}
std::wstring FileOf(Owner owner) {
    return FolderOf(owner) + TextSum(kPlace.name) + L".key";
}

struct SoftcspProtection : testing::Test {
    ~SoftcspProtection() override { kStore.Remove(kPlace); }

    static Container Loaded() {
        Container container;
        EXPECT_EQ(kStore.Load(kPlace, container), 0u);
        return container;
    }
    void Open(DWORD flags = CRYPT_SILENT) { ASSERT_TRUE(context_.Acquire(flags, kPlace.name.c_str(), nullptr, 75)); }
    HCRYPTPROV Get() const { return context_.Get(); }

    LoadedProvider held_;
    CCryptProvContext context_;
};

// The digest is right after each change: whoever may write the file can compute it.
TEST_F(SoftcspProtection, DetectsEveryChangeByOthersWhenItIsUnlocked) {
    const struct {
        const char* what;
        std::function<void(Container&)> change;
        HRESULT result = NTE_KEYSET_ENTRY_BAD;
    } cases[] = {
        {"nothing", [](Container&) {}, 0},
        {"export flag", [](Container& c) { c.exchange->exportable = true; }},
        {"certificate", [](Container& c) { c.exchange->certificate = c.signature->certificate; }},
        {"extension",
         [](Container& c) {
             c.extensions.push_back({"1.2.3", 1, Bytes{7}});
         }},
        {"keys exchanged", [](Container& c) { std::swap(c.exchange->privateKey, c.signature->privateKey); }},
        {"master key", [](Container& c) { c.lock.master.wrapped.key[0] ^= 1; }, SCARD_W_WRONG_CHV},
        {"salt", [](Container& c) { c.lock.salt.back() ^= 1; }, SCARD_W_WRONG_CHV},
    };
    const ProviderSetting rounds(kPasswordRoundsSetting, 9);
    const ToolContainer created(kPlace.name, L"--keys xs --password 1234");
    const Container original = Loaded();
    for (const auto& c : cases) {
        Container changed = original;
        c.change(changed);
        ASSERT_EQ(kStore.SaveBytes(kPlace, WriteContainer(changed)), 0u);
        Open();
        Set(Get(), PP_KEYEXCHANGE_PIN, "1234");
        EXPECT_EQ(LoadKeys(Get()), c.result) << c.what;
        EXPECT_EQ(AddExtension(Get()), c.result) << c.what << ": written over an unlocked change";
    }
}

// The provider is not given the size of what it reads.
TEST_F(SoftcspProtection, StoresNoCertificateLongerThanItsParts) {
    const ToolContainer created(kPlace.name);
    Open();
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(Get(), AT_KEYEXCHANGE, key.put()));
    Bytes longer = KeyParameter(key.get(), KP_CERTIFICATE);
    longer[2] ^= 0x40;  // of its length
    longer.resize(70'000);
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, longer.data(), 0)), NTE_BAD_DATA);
}

TEST_F(SoftcspProtection, GivesNobodyElseRightsToFilesAndFolders) {
    const TestContainer users(kPlace.name), computers(kPlace.name, 75, CRYPT_MACHINE_KEYSET);
    for (const std::wstring& path :
         {FileOf(Owner::User), FileOf(Owner::Computer), FolderOf(Owner::User), FolderOf(Owner::Computer)}) {
        SCOPED_TRACE(testing::PrintToString(path));
        Bytes descriptor(4096);
        char* list = nullptr;
        DWORD size = 4096;
        ASSERT_TRUE(GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size));
        ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor.data(), SDDL_REVISION_1,
                                                             DACL_SECURITY_INFORMATION, &list, nullptr);
        for (const char* others : {";WD)", ";BU)"})  // everyone, users
            EXPECT_EQ(std::string(list).find(others), std::string::npos) << list;
        LocalFree(list);
    }
    EXPECT_TRUE(Parameter(users.Get(), PP_KEYSET_SEC_DESCR, 0).empty());
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_BAD_FLAGS);
}

DWORD WINAPI OwnedByGuests(HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID* owner, PSID*, PACL*, PACL*,
                           PSECURITY_DESCRIPTOR* descriptor) {
    DWORD size = SECURITY_MAX_SID_SIZE;
    *owner = *descriptor = LocalAlloc(LMEM_FIXED, size);
    return CreateWellKnownSid(WinBuiltinGuestsSid, nullptr, *owner, &size) ? ERROR_SUCCESS : GetLastError();
}

TEST_F(SoftcspProtection, RefusesFoldersOfOtherAccounts) {
    const TestContainer container(kPlace.name);
    const ImportPatch foreign("GetSecurityInfo", OwnedByGuests);
    Container read;
    EXPECT_EQ(kStore.Load(kPlace, read), DWORD{ERROR_INVALID_OWNER});
}

TEST_F(SoftcspProtection, BindsKeysWithoutPasswordToTheUserAndTheContainer) {
    const TestContainer container(kPlace.name);
    const PasswordLock lock = Loaded().lock;
    PasswordLock unbound = lock, derived = lock;
    derived.protectedKey.clear();
    EXPECT_FALSE(OpenLock(derived, OpeningKey(derived, {}).value())) << "opened by a key that everybody can derive";
    unbound.salt[0] ^= 1;
    EXPECT_FALSE(OpeningKey(unbound, {})) << "opened with another container's key";
    const SymmetricKey key = OpeningKey(lock, {}).value();
    EXPECT_FALSE(UnsealPrivateKey(key, SealPrivateKey(key, key, false), true)) << "as exportable";
}

TEST_F(SoftcspProtection, DerivesThePasswordKeyInManyRoundsButNotInAnyNumber) {
    auto created = CreateContainer(kPlace.name, Password(L"1234"));
    EXPECT_GE(created.container.lock.rounds, 20'000u);
    EXPECT_FALSE(AcceptsRounds(0));
    created.container.lock.rounds = 0xFFFFFFFF;
    ASSERT_EQ(kStore.Create(kPlace, created.container), 0u);
    EXPECT_EQ(Acquire(kPlace.name), NTE_KEYSET_ENTRY_BAD);
}

ModalScript::Step Type(const wchar_t* password, bool save = false) {
    return [=](HWND dialog) {
        Ui::Type(dialog, IDC_PASSWORD, password);
        if (save) Ui::Click(dialog, IDC_SAVE);
        Ui::Click(dialog, IDOK);
    };
}

struct SoftcspPassword : SoftcspProtection {
    ~SoftcspPassword() override { RunTool(L"store del \\local\\KeyDevices\\passwords"); }

    // The result of loading the keys in a new context while the dialogs are filled in so.
    HRESULT Load(std::vector<ModalScript::Step> steps, DWORD flags = 0, const char* given = "") {
        Open(flags);
        EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, given), 0);
        ModalScript script(std::move(steps));
        const HRESULT result = LoadKeys(Get());
        EXPECT_TRUE(script.Finished()) << "a dialog was not shown";
        return result;
    }

    ProviderSetting rounds_{kPasswordRoundsSetting, 100};
    ToolContainer container_{kPlace.name, L"--keys xs --password 1234"};
};

TEST_F(SoftcspPassword, IsAskedForUntilItIsRight) {
    EXPECT_EQ(Load({}, CRYPT_SILENT), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Load({}, CRYPT_SILENT, "1234"), 0);
    EXPECT_EQ(Load({}, 0, "wrong"), kWrong);
    EXPECT_EQ(Load({Type(L"wrong"), Type(L"1234")}), 0);
    EXPECT_EQ(Load({Type(L"1"), Type(L"2"), Type(L"3")}), kWrong);
    EXPECT_EQ(Set(Get(), PP_SIGNATURE_PIN, std::string(65, '1').c_str()), NTE_BAD_DATA) << "too long";
}

// A thread that the owner of the dialog waits for must be able to use the context.
TEST_F(SoftcspPassword, DialogLeavesTheContextToOtherThreads) {
    std::future<Bytes> other;
    const auto useElsewhere = [&](HWND dialog) {
        other = std::async(std::launch::async, [&] { return Parameter(Get(), PP_VERSION); });
        EXPECT_EQ(other.wait_for(std::chrono::seconds(5)), std::future_status::ready);
        Type(L"1234")(dialog);
    };
    EXPECT_EQ(Load({useElsewhere}), 0);
}

TEST_F(SoftcspPassword, IsSavedOnRequestAndForgottenWhenItChanges) {
    const std::wstring passwords = L"\\local\\KeyDevices\\passwords\\75/REGISTRY/";
    std::wstring saved;
    EXPECT_EQ(Load({Type(L"1234", true)}), 0);
    EXPECT_EQ(Store().ReadText(passwords + kPlace.name + L"\\passwd", saved), 0u);
    EXPECT_EQ(Store().WriteText((passwords + L"other\\passwd").c_str(), saved), 0u);
    EXPECT_FALSE(SavedPasswords(kStore).Find({kPlace.carrier, L"other"})) << "copied from another container";
    { const TestContainer namesake(kPlace.name, 71); }
    EXPECT_EQ(Load({}), 0) << "forgotten with a container of the other type";
    ModalScript script({[](HWND dialog) {
        Ui::Type(dialog, IDC_NEW_PASSWORD, L"новый");
        Ui::Type(dialog, IDC_CONFIRMATION, L"новый");
        Type(L"1234")(dialog);
    }});
    const PasswordRequest request{kPasswordByDialog, nullptr};
    EXPECT_EQ(Set(Get(), kParamChangePassword, &request), 0);
    EXPECT_EQ(Store().ReadText(passwords + kPlace.name + L"\\passwd", saved), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(Load({Type(L"новый")}), 0);
}

}  // namespace
