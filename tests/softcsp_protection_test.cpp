// What protects a container's file and its keys: authentication, access rights, the lock, and its password, which is
// given by the program, asked for in the provider's dialogs, saved and changed.
#include <aclapi.h>
#include <sddl.h>

#include <functional>
#include <future>

#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerStore.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/dialogs/resource.h"
#include "tests/support/Certificates.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/SoftProvider.h"

namespace {

using namespace softcsp;

const ContainerStore kStore(Owner::User, 75), kComputers(Owner::Computer, 75);
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
    void Open(const std::wstring& name = kPlace.name, DWORD flags = CRYPT_SILENT) {
        ASSERT_TRUE(context_.Acquire(flags, name.c_str(), nullptr, 75));
    }
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
        {"extension", [](Container& c) { c.extensions.emplace_back("1.2.3", 1, Bytes{7}); }},
        {"keys exchanged", [](Container& c) { std::swap(c.exchange->privateKey, c.signature->privateKey); }},
        {"format 1", [](Container& c) { c.format = 1; }},
        {"master key", [](Container& c) { c.lock.master.wrapped.key[0] ^= 1; }, SCARD_W_WRONG_CHV},
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

// The files of format 1 were written by the version before format 2.
TEST_F(SoftcspProtection, BringsContainersOfTheFirstFormatToTheSecond) {
    for (const std::wstring name : {L"open", L"locked"}) {
        const std::string file = Read(kData + L"format1-" + name + L".key");
        const ContainerPlace place{kPlace.carrier, name == L"open" ? L"f1plain" : L"f1locked"};
        const TestContainer replaced(place.name);  // creates the folder
        ASSERT_EQ(kStore.SaveBytes(place, Bytes(file.begin(), file.end())), 0u);
        Container container;
        for (const std::uint32_t format : {1u, 2u}) {
            EXPECT_EQ(kStore.Load(place, container), 0u);
            EXPECT_EQ(container.format, format);
            Open(place.name);
            EXPECT_EQ(Set(Get(), PP_SIGNATURE_PIN, "1234"), 0);
            EXPECT_EQ(LoadKeys(Get()), 0);
            EXPECT_EQ(AddExtension(Get()), 0);
        }
        kStore.Remove(place);
    }
}

TEST_F(SoftcspProtection, StoresExactlyOneWholeCertificate) {
    const ToolContainer created(kPlace.name);
    Open();
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(Get(), AT_KEYEXCHANGE, key.put()));
    const Bytes right = KeyParameter(key.get(), KP_CERTIFICATE);
    for (const std::size_t at : {0u, 1u, 2u, 3u}) {  // the tag and the length
        Bytes wrong = right;
        wrong[at] ^= 0x40;
        wrong.resize(70'000);  // what follows in the caller's memory
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, wrong.data(), 0)), NTE_BAD_DATA) << at;
    }
    // A file can have anything where the certificate is expected.
    Container container = Loaded();
    container.exchange->certificate.push_back(0);
    ASSERT_EQ(kStore.Save(kPlace, container), 0u);
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(CryptGetKeyParam(key.get(), KP_CERTIFICATE, nullptr, &size, 0)), NTE_BAD_DATA);
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

DWORD WINAPI ForeignOwner(HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID* owner, PSID*, PACL*, PACL*,
                          PSECURITY_DESCRIPTOR* descriptor) {
    DWORD size = SECURITY_MAX_SID_SIZE;
    *owner = *descriptor = LocalAlloc(LMEM_FIXED, size);
    return CreateWellKnownSid(WinBuiltinGuestsSid, nullptr, *owner, &size) ? ERROR_SUCCESS : GetLastError();
}

TEST_F(SoftcspProtection, RefusesFoldersOfOtherAccounts) {
    const TestContainer container(kPlace.name);
    const Container read = Loaded();
    const ImportPatch foreign(nullptr, "GetSecurityInfo", ForeignOwner);
    EXPECT_EQ(kStore.Save(kPlace, read), DWORD{ERROR_INVALID_OWNER});
}

TEST_F(SoftcspProtection, BindsKeysWithoutPasswordToTheUserAndSavedOnesToTheirContainer) {
    const TestContainer container(kPlace.name);
    const PasswordLock lock = Loaded().lock;
    PasswordLock unbound = lock, derived = lock;
    derived.protectedKey.clear();
    EXPECT_FALSE(OpenLock(derived, *OpeningKey(derived, {}))) << "opened by a key that everybody can derive";
    unbound.salt[0] ^= 1;
    EXPECT_FALSE(OpeningKey(unbound, {})) << "opened with another container's key";
    const SymmetricKey key = *OpeningKey(lock, {});
    EXPECT_FALSE(UnsealPrivateKey(key, SealPrivateKey(key, key, false), true)) << "as exportable";
    const SavedPasswords saved(kComputers);
    ASSERT_EQ(saved.Save(kPlace, key), 0u);
    EXPECT_EQ(saved.Find(kPlace), key);
    const std::wstring section = L"\\global\\KeyDevices\\passwords\\75/REGISTRY/";
    std::wstring text;
    ASSERT_EQ(Store().ReadText(section + L"С паролем\\passwd", text), 0u);
    ASSERT_EQ(Store().WriteText((section + L"another\\passwd").c_str(), text), 0u);
    const ContainerPlace other{kPlace.carrier, L"another"};
    EXPECT_FALSE(saved.Find(other)) << "saved for another container";
    for (const ContainerPlace& place : {kPlace, other}) saved.Remove(place);
}

// A mutex of a known name and an open descriptor would let every account block all containers.
TEST_F(SoftcspProtection, IsLockedByAFileAndNotByTheMutexesOfOthers) {
    const TestContainer container(kPlace.name);
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, (L"Global\\softcsp-" + TextSum(FileOf(Owner::User))).c_str());
    const auto opened = std::async(std::launch::async, [this] { Open(); });
    EXPECT_EQ(opened.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    CloseHandle(mutex);
    const FolderLock lock(FolderOf(Owner::User), Rights::Owner);
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE;
    const UniqueFile file(CreateFileW((FolderOf(Owner::User) + L"lock").c_str(), GENERIC_READ, kShared, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(SoftcspProtection, DerivesThePasswordKeyInManyRoundsAndOnceForAWrongPassword) {
    EXPECT_GE(CreateContainer(kPlace.name, Password(L"1234")).container.lock.rounds, 20'000u);
    const ProviderSetting rounds(kPasswordRoundsSetting, 100'000);
    auto created = CreateContainer(kPlace.name, Password(L"1234"));
    ASSERT_EQ(kStore.Create(kPlace, created.container), 0u);
    Open();
    EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, "wrong"), 0);
    ULONGLONG times[2];
    for (ULONGLONG& time : times) {
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(AddExtension(Get()), kWrong);
        time = GetTickCount64() - start;
    }
    EXPECT_LT(times[1], times[0] / 2) << "milliseconds of the first and the second attempt";
    EXPECT_FALSE(AcceptsRounds(0));
    created.container.lock.rounds = 0xFFFFFFFF;
    ASSERT_EQ(kStore.Save(kPlace, created.container), 0u);
    EXPECT_EQ(Acquire(kPlace.name), NTE_KEYSET_ENTRY_BAD);
}

TEST_F(SoftcspProtection, FindsItsFoldersWithoutTheEnvironment) {
    const std::wstring before = _wgetenv(L"LOCALAPPDATA");
    SetEnvironmentVariableW(L"LOCALAPPDATA", L"C:\\windows\\temp");
    EXPECT_EQ(FolderOf(Owner::User).find(L"temp"), std::wstring::npos);
    SetEnvironmentVariableW(L"LOCALAPPDATA", before.c_str());
}

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

struct SoftcspPassword : SoftcspProtection {
    ~SoftcspPassword() override { RunTool(L"store del \\local\\KeyDevices\\passwords"); }

    // The result of loading the keys in a new context while the dialogs are filled in so.
    HRESULT Load(std::vector<ModalScript::Step> steps, DWORD flags = 0, const char* given = "") {
        Open(kPlace.name, flags);
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
    EXPECT_EQ(Load({Type(L"1234", true)}), 0);
    { const TestContainer namesake(kPlace.name, 71); }
    EXPECT_EQ(Load({}, CRYPT_SILENT), 0) << "forgotten with a container of the other type";
    const auto change = [&](const wchar_t* old) {
        ModalScript script({[=](HWND dialog) {
            Ui::Type(dialog, IDC_NEW_PASSWORD, L"новый");
            Ui::Type(dialog, IDC_CONFIRMATION, L"новый");
            Type(old)(dialog);
        }});
        const PasswordRequest request{kPasswordByDialog, nullptr};
        return Set(Get(), kParamChangePassword, &request);
    };
    EXPECT_EQ(Load({}), 0);
    EXPECT_EQ(change(L"wrong"), kWrong);
    EXPECT_EQ(Load({}), 0);
    EXPECT_EQ(change(L"1234"), 0);
    std::wstring saved;
    const std::wstring section = L"\\local\\KeyDevices\\passwords\\75/REGISTRY/" + kPlace.name;
    EXPECT_EQ(Store().ReadText(section + L"\\passwd", saved), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(Load({Type(L"новый")}), 0);
}

TEST_F(SoftcspPassword, GuardsDeletionAndIsAskedForANewContainer) {
    constexpr HRESULT kCancelled = HRESULT_FROM_WIN32(ERROR_CANCELLED);
    const auto acquire = [&](ModalScript::Step step, DWORD flags, const wchar_t* name) {
        ModalScript script({std::move(step)});
        return ErrorOf(context_.Acquire(flags, name, nullptr, 75));
    };
    EXPECT_EQ(acquire(Cancel, CRYPT_DELETEKEYSET, kPlace.name.c_str()), kCancelled);
    EXPECT_EQ(acquire(Type(L"1234"), CRYPT_DELETEKEYSET, kPlace.name.c_str()), 0) << "still there";
    EXPECT_EQ(acquire(Cancel, CRYPT_NEWKEYSET, L"\\\\.\\REGISTRY\\never created"), kCancelled);
    EXPECT_EQ(Acquire(L"\\\\.\\REGISTRY\\never created"), NTE_BAD_KEYSET);
}

}  // namespace
