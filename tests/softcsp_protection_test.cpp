// What protects a container's file and its keys: authentication, access rights, the lock, and the key of a password.
#include "tests/support/SoftProvider.h"

#include <aclapi.h>
#include <sddl.h>

#include <functional>
#include <thread>

#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerStore.h"
#include "softcsp/container/SavedPasswords.h"
#include "tests/support/Certificates.h"
#include "tests/support/ImportPatch.h"

namespace {

using namespace softcsp;

const ContainerStore kStore(Owner::User, 75), kComputers(Owner::Computer, 75);
const ContainerPlace kPlace{{.name = kRegistryCarrier}, L"protected"};

std::wstring FolderOf(Owner owner) {
    return ContainerFolder(kPlace.carrier, owner, 75);
}
std::wstring FileOf(Owner owner) {
    return FolderOf(owner) + TextSum(kPlace.name) + L".key";
}

Container Loaded(const ContainerPlace& place = kPlace) {
    Container container;
    EXPECT_EQ(kStore.Load(place, container), 0u);
    return container;
}

struct SoftcspProtection : testing::Test {
    ~SoftcspProtection() override { kStore.Remove(kPlace); }

    void Open(const wchar_t* name = L"protected") {
        ASSERT_TRUE(context_.Acquire(CRYPT_SILENT, name, nullptr, 75)) << std::hex << GetLastError();
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
        HRESULT result = NTE_KEYSET_ENTRY_BAD, withPassword = NTE_KEYSET_ENTRY_BAD;
    } cases[] = {
        {"nothing", [](Container&) {}, 0, 0},
        {"export flag", [](Container& c) { c.exchange->exportable = true; }},
        {"sealed export flag", [](Container& c) { (*c.exchange->privateKey.attributes)[0] ^= 1; }},
        {"certificate", [](Container& c) { c.exchange->certificate = c.signature->certificate; }},
        {"no certificate", [](Container& c) { c.signature->certificate.clear(); }},
        {"extension", [](Container& c) { c.extensions.emplace_back("1.2.3", 1, Bytes{7}); }},
        {"public key", [](Container& c) { c.exchange->publicKey[0] ^= 1; }},
        {"keys exchanged", [](Container& c) { std::swap(c.exchange->privateKey, c.signature->privateKey); }},
        {"digest set", [](Container& c) { c.digest = FindParameterSet(ParameterKind::Digest, "1.2.643.2.2.30.0"); }},
        {"reported damage", [](Container& c) { c.reportedDamage = 4; }},
        {"format 1", [](Container& c) { c.format = 1; }},
        {"master key", [](Container& c) { c.lock.master.wrapped.key[0] ^= 1; }, NTE_KEYSET_ENTRY_BAD,
         static_cast<HRESULT>(SCARD_W_WRONG_CHV)},
    };
    const ChangedSetting rounds(kPasswordRoundsSetting, 9);
    for (const bool password : {false, true}) {
        const ToolContainer created(kPlace.name, password ? L"--keys xs --password 1234" : L"--keys xs");
        Bytes original;
        ASSERT_EQ(kStore.LoadBytes(kPlace, original), 0u);
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(c.what) + (password ? ", with a password" : ", without a password"));
            Container changed = *ReadContainer(original);
            c.change(changed);
            ASSERT_EQ(kStore.SaveBytes(kPlace, WriteContainer(changed)), 0u);
            Open();
            Set(Get(), PP_KEYEXCHANGE_PIN, password ? "1234" : "");
            const HRESULT expected = password ? c.withPassword : c.result;
            EXPECT_EQ(LoadKeys(Get()), expected);
            EXPECT_EQ(AddExtension(Get()), expected) << "written over an unlocked change";
        }
    }
}

TEST_F(SoftcspProtection, AsksForThePasswordBeforeItsContainerIsChanged) {
    const ChangedSetting rounds(kPasswordRoundsSetting, 9);
    const ToolContainer created(kPlace.name, L"--password 1234");
    Open();
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(Get(), AT_KEYEXCHANGE, key.put()));
    EXPECT_EQ(AddExtension(Get()), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Set(Get(), kParamDigestSet, "1.2.643.2.2.30.1"), NTE_SILENT_CONTEXT);
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, KeyParameter(key.get(), KP_CERTIFICATE).data(), 0)),
              NTE_SILENT_CONTEXT);
    EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, "1234"), 0);
    EXPECT_EQ(AddExtension(Get()), 0);
}

// The files of format 1 were written by the version before format 2.
TEST_F(SoftcspProtection, BringsContainersOfTheFirstFormatToTheSecond) {
    const struct {
        const wchar_t *file, *name;
        const char* password;
    } cases[] = {{L"format1-open.key", L"f1plain", ""}, {L"format1-locked.key", L"f1locked", "1234"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.name));
        const std::string file = Read(kData + c.file);
        const TestContainer replaced(c.name);  // creates the folder, and removes the file at the end
        const ContainerPlace place{kPlace.carrier, c.name};
        ASSERT_EQ(kStore.SaveBytes(place, Bytes(file.begin(), file.end())), 0u);
        EXPECT_EQ(Loaded(place).format, 1u);
        for (const std::uint32_t after : {2u, 2u}) {
            Open(c.name);
            EXPECT_EQ(Set(Get(), PP_SIGNATURE_PIN, c.password), 0);
            EXPECT_EQ(LoadKeys(Get()), 0);
            UniqueCryptHash hash;
            BYTE signature[64];
            DWORD size = sizeof signature;
            ASSERT_TRUE(CryptCreateHash(Get(), kHash, 0, 0, hash.put()));
            EXPECT_EQ(ErrorOf(CryptSignHashW(hash.get(), AT_SIGNATURE, nullptr, 0, signature, &size)), 0);
            EXPECT_EQ(AddExtension(Get()), 0);
            EXPECT_EQ(Loaded(place).format, after);
        }
        EXPECT_EQ(Loaded(place).extensions.back().identifier, "1.2.3");
        EXPECT_EQ(Acquire(c.name, CRYPT_DELETEKEYSET), *c.password != 0 ? NTE_SILENT_CONTEXT : 0);
        kStore.Remove(place);
    }
}

TEST_F(SoftcspProtection, StoresExactlyOneWholeCertificate) {
    const ToolContainer created(kPlace.name);
    Open();
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(Get(), AT_KEYEXCHANGE, key.put()));
    const TestBytes right = KeyParameter(key.get(), KP_CERTIFICATE);
    ASSERT_EQ(right[1], 0x82) << "two bytes of length";
    TestBytes longer = right, shorter = right, indefinite = right;
    longer[2] = 0x40;  // 16 KB
    shorter[3] ^= 1;
    indefinite[1] = 0x80;
    const struct {
        const char* what;
        TestBytes certificate;
        HRESULT result;
    } cases[] = {{"longer", longer, NTE_BAD_DATA},         {"shorter", shorter, NTE_BAD_DATA},
                 {"indefinite", indefinite, NTE_BAD_DATA}, {"empty sequence", {0x30, 0x00}, NTE_BAD_DATA},
                 {"text", {'n', 'o', 0}, NTE_BAD_DATA},    {"right", right, 0}};
    for (auto [what, certificate, result] : cases) {
        certificate.resize(70'000);  // what follows in the caller's memory
        EXPECT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, certificate.data(), 0)), result) << what;
        EXPECT_EQ(KeyParameter(key.get(), KP_CERTIFICATE), right) << what;
    }
    // A file can have anything where the certificate is expected.
    Container container = Loaded();
    container.exchange->certificate.push_back(0);
    ASSERT_EQ(kStore.Save(kPlace, container), 0u);
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(CryptGetKeyParam(key.get(), KP_CERTIFICATE, nullptr, &size, 0)), NTE_BAD_DATA);
}

// The access control list of a file or folder, in the form of SDDL.
std::string AccessList(const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    char* text = nullptr;
    if (GetNamedSecurityInfoW(const_cast<wchar_t*>(path.c_str()), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &descriptor) == 0)
        ConvertSecurityDescriptorToStringSecurityDescriptorA(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                             &text, nullptr);
    const std::string list = text != nullptr ? text : "";
    LocalFree(text);
    LocalFree(descriptor);
    return list;
}

TEST_F(SoftcspProtection, GivesNobodyElseRightsToFilesAndFolders) {
    const TestContainer users(kPlace.name), computers(kPlace.name, 75, CRYPT_MACHINE_KEYSET);
    ASSERT_TRUE(users.Made());
    ASSERT_TRUE(computers.Made());
    for (const std::wstring& path :
         {FileOf(Owner::User), FileOf(Owner::Computer), FolderOf(Owner::User), FolderOf(Owner::Computer)}) {
        const std::string list = AccessList(path);
        EXPECT_NE(list, "") << testing::PrintToString(path);
        EXPECT_EQ(list.find(";WD)"), list.npos) << "everyone: " << list << " of " << testing::PrintToString(path);
        EXPECT_EQ(list.find(";BU)"), list.npos) << "users: " << list << " of " << testing::PrintToString(path);
    }
    TestBytes descriptor = Parameter(users.Get(), PP_KEYSET_SEC_DESCR, DACL_SECURITY_INFORMATION);
    EXPECT_TRUE(IsValidSecurityDescriptor(descriptor.data()));
    EXPECT_TRUE(Parameter(users.Get(), PP_KEYSET_SEC_DESCR, 0).empty());
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_BAD_FLAGS);
}

DWORD WINAPI ForeignOwner(HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID* owner, PSID*, PACL*, PACL*,
                          PSECURITY_DESCRIPTOR* descriptor) {
    *descriptor = LocalAlloc(LMEM_FIXED, SECURITY_MAX_SID_SIZE);
    DWORD size = SECURITY_MAX_SID_SIZE;
    CreateWellKnownSid(WinBuiltinGuestsSid, nullptr, *descriptor, &size);
    *owner = *descriptor;
    return ERROR_SUCCESS;
}

TEST_F(SoftcspProtection, RefusesFoldersOfOtherAccounts) {
    const auto created = CreateContainer(kPlace.name, {});
    kStore.Remove(kPlace);
    ASSERT_EQ(kStore.Create(kPlace, created->container), 0u);
    const ImportPatch foreign(nullptr, "GetSecurityInfo", ForeignOwner);
    Container container;
    EXPECT_EQ(kStore.Load(kPlace, container), DWORD{ERROR_INVALID_OWNER});
    EXPECT_EQ(kStore.Save(kPlace, created->container), DWORD{ERROR_INVALID_OWNER});
}

TEST_F(SoftcspProtection, BindsKeysWithoutPasswordToTheUserAndSavedOnesToTheirContainer) {
    const TestContainer container(kPlace.name);
    ASSERT_TRUE(container.Made());
    const PasswordLock lock = Loaded().lock;
    EXPECT_FALSE(lock.protectedKey.empty());
    PasswordLock unbound = lock, derived = lock;
    derived.protectedKey.clear();
    EXPECT_FALSE(OpenLock(derived, *OpeningKey(derived, {}))) << "opened by a key that everybody can derive";
    unbound.salt[0] ^= 1;
    EXPECT_FALSE(OpeningKey(unbound, {})) << "opened with another container's key";
    const SymmetricKey key = *OpeningKey(lock, {});
    const auto sealed = SealPrivateKey(key, key, false);
    EXPECT_TRUE(UnsealPrivateKey(key, *sealed, false));
    EXPECT_FALSE(UnsealPrivateKey(key, *sealed, true)) << "as exportable";
    const SavedPasswords saved(kComputers);
    ASSERT_EQ(saved.Save(kPlace, key), 0u);
    const std::wstring section = L"\\global\\KeyDevices\\passwords\\75/REGISTRY/";
    StoreValue value;
    std::wstring text;
    ASSERT_EQ(Store().Find((section + L"protected\\passwd").c_str(), value), 0u);
    ASSERT_EQ(value.data.Text(text), 0u);
    ASSERT_EQ(Store().WriteText((section + L"another\\passwd").c_str(), text), 0u);
    EXPECT_EQ(saved.Find(kPlace), key);
    const ContainerPlace other{kPlace.carrier, L"another"};
    EXPECT_FALSE(saved.Find(other)) << "saved for another container";
    for (const ContainerPlace& place : {kPlace, other}) saved.Remove(place);
}

// A mutex of a known name and an open descriptor would let every account block all containers.
TEST_F(SoftcspProtection, IsNotBlockedByTheMutexesOfOthers) {
    const TestContainer container(kPlace.name);
    ASSERT_TRUE(container.Made());
    const std::wstring name = L"Global\\softcsp-" + TextSum(FileOf(Owner::User));
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, name.c_str());
    const ULONGLONG start = GetTickCount64();
    std::thread([this] {
        Open();
        EXPECT_EQ(LoadKeys(Get()), 0);
    }).join();
    EXPECT_LT(GetTickCount64() - start, 10'000u) << "milliseconds";
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    // The lock is a file of the container's folder that nobody else can open meanwhile.
    const FolderLock lock(FolderOf(Owner::User), Rights::Owner);
    EXPECT_EQ(lock.Result(), 0u);
    constexpr DWORD kShared = FILE_SHARE_READ | FILE_SHARE_WRITE;
    EXPECT_EQ(CreateFileW((FolderOf(Owner::User) + L"lock").c_str(), GENERIC_READ, kShared, nullptr, OPEN_EXISTING, 0,
                          nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
}

TEST_F(SoftcspProtection, DerivesThePasswordKeyInManyRoundsButNotInAnyNumber) {
    auto created = CreateContainer(kPlace.name, Password(L"1234"));
    const std::uint32_t rounds = created->container.lock.rounds;
    EXPECT_GE(rounds, 20'000u);
    EXPECT_TRUE(AcceptsRounds(rounds));
    EXPECT_FALSE(AcceptsRounds(rounds * 20));
    EXPECT_FALSE(AcceptsRounds(0));
    created->container.lock.rounds = 0xFFFFFFFF;
    ASSERT_EQ(kStore.Create(kPlace, created->container), 0u);
    EXPECT_EQ(Acquire(kPlace.name), NTE_KEYSET_ENTRY_BAD);
    ASSERT_EQ(kStore.Remove(kPlace), 0u);
    const ChangedSetting few(kPasswordRoundsSetting, 9);
    EXPECT_EQ(CreateContainer(kPlace.name, Password(L"1234"))->container.lock.rounds, 9u) << "on demand";
}

TEST_F(SoftcspProtection, RemembersThatAPasswordIsWrong) {
    {
        const ChangedSetting many(kPasswordRoundsSetting, 100'000);
        ASSERT_EQ(kStore.Create(kPlace, CreateContainer(kPlace.name, Password(L"1234"))->container), 0u);
    }
    Open();
    UniqueCryptKey key;
    EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, "wrong"), 0);
    ULONGLONG times[2];
    for (ULONGLONG& time : times) {
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(AddExtension(Get()), static_cast<HRESULT>(SCARD_W_WRONG_CHV));
        time = GetTickCount64() - start;
    }
    EXPECT_LT(times[1], times[0] / 4) << "milliseconds of the first and the second attempt";
    EXPECT_EQ(Set(Get(), PP_KEYEXCHANGE_PIN, "1234"), 0);
    EXPECT_EQ(AddExtension(Get()), 0);
}

TEST_F(SoftcspProtection, FindsItsFoldersWithoutTheEnvironment) {
    const std::wstring before = _wgetenv(L"LOCALAPPDATA");
    SetEnvironmentVariableW(L"LOCALAPPDATA", L"C:\\windows\\temp");
    const TestContainer container(kPlace.name);
    EXPECT_TRUE(container.Made());
    EXPECT_EQ(GetFileAttributesW(L"C:\\windows\\temp\\Kelvane"), INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(GetFileAttributesW(FileOf(Owner::User).c_str()), INVALID_FILE_ATTRIBUTES);
    SetEnvironmentVariableW(L"LOCALAPPDATA", before.c_str());
}

}  // namespace
