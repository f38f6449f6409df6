// What protects a container's file and its keys: authentication, access rights, the lock, and the key of a password.
#include "tests/support/Provider.h"

#include <aclapi.h>
#include <sddl.h>

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "softcsp/common/CallRecord.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/container/ContainerStore.h"
#include "softcsp/container/SavedPasswords.h"
#include "softcsp/encoding/Certificates.h"
#include "tests/support/Certificates.h"
#include "tests/support/ImportPatch.h"

namespace {

using namespace softcsp;

const ContainerStore kStore(Owner::User, 75), kComputers(Owner::Computer, 75);
const ContainerPlace kPlace{{.name = kRegistryCarrier}, L"protected"};

std::wstring FileOf(const ContainerPlace& place, Owner owner) {
    return ContainerFolder(place.carrier, owner, 75) + TextSum(place.name) + L".key";
}

HRESULT Set(HCRYPTPROV provider, DWORD parameter, const void* data) {
    return ErrorOf(CryptSetProvParam(provider, parameter, static_cast<const BYTE*>(data), 0));
}

HRESULT LoadKeys(HCRYPTPROV provider) {
    DWORD loaded = 0, size = sizeof loaded;
    return ErrorOf(CryptGetProvParam(provider, 109, reinterpret_cast<BYTE*>(&loaded), &size, 0));
}

HRESULT OpenAndLoad(const wchar_t* name, const char* password = nullptr) {
    CCryptProvContext context;
    if (!context.Acquire(CRYPT_SILENT, name, nullptr, 75)) return ErrorOf(FALSE);
    if (password != nullptr) Set(context.Get(), PP_KEYEXCHANGE_PIN, password);
    return LoadKeys(context.Get());
}

HRESULT AddExtension(HCRYPTPROV provider) {
    const struct {
        const char* identifier;
        DWORD critical, size;
        const void* value;
    } extension{"1.2.3", 0, 1, "x"};
    return Set(provider, 132, &extension);
}

Container Loaded(const ContainerPlace& place) {
    Container container;
    EXPECT_EQ(kStore.Load(place, container), 0u);
    return container;
}

// The digest is right after each change: whoever may write the file can compute it.
TEST(SoftcspProtection, DetectsEveryChangeByOthersWhenItIsUnlocked) {
    const LoadedProvider held;
    const struct {
        const char* what;
        std::function<void(Container&)> change;
        HRESULT result;
    } table[] = {
        {"nothing", [](Container&) {}, 0},
        {"export flag", [](Container& c) { c.exchange->exportable = true; }, NTE_KEYSET_ENTRY_BAD},
        {"sealed export flag", [](Container& c) { (*c.exchange->privateKey.attributes)[0] ^= 1; },
         NTE_KEYSET_ENTRY_BAD},
        {"certificate", [](Container& c) { c.exchange->certificate = c.signature->certificate; }, NTE_KEYSET_ENTRY_BAD},
        {"no certificate", [](Container& c) { c.signature->certificate.clear(); }, NTE_KEYSET_ENTRY_BAD},
        {"extension",
         [](Container& c) {
             c.extensions.push_back({"1.2.3", 1, {7}});
         },
         NTE_KEYSET_ENTRY_BAD},
        {"public key", [](Container& c) { c.exchange->publicKey[0] ^= 1; }, NTE_KEYSET_ENTRY_BAD},
        {"keys exchanged", [](Container& c) { std::swap(c.exchange->privateKey, c.signature->privateKey); },
         NTE_KEYSET_ENTRY_BAD},
        {"digest set", [](Container& c) { c.digest = FindParameterSet(ParameterKind::Digest, "1.2.643.2.2.30.0"); },
         NTE_KEYSET_ENTRY_BAD},
        {"reported damage", [](Container& c) { c.reportedDamage = 4; }, NTE_KEYSET_ENTRY_BAD},
        {"master key", [](Container& c) { c.lock.master.wrapped.key[0] ^= 1; }, NTE_KEYSET_ENTRY_BAD},
        {"format 1", [](Container& c) { c.format = 1; }, NTE_KEYSET_ENTRY_BAD},
    };
    RunTool(L"remove protected");
    ASSERT_EQ(RunTool(L"create protected --keys xs --chain 1"), 0u);
    Bytes original;
    ASSERT_EQ(kStore.LoadBytes(kPlace, original), 0u);
    for (const auto& row : table) {
        SCOPED_TRACE(row.what);
        Container changed = *ReadContainer(original);
        row.change(changed);
        ASSERT_EQ(kStore.SaveBytes(kPlace, WriteContainer(changed)), 0u);
        CCryptProvContext context;
        ASSERT_TRUE(context.Acquire(CRYPT_SILENT, L"protected", nullptr, 75));
        EXPECT_EQ(LoadKeys(context.Get()), row.result);
        EXPECT_EQ(AddExtension(context.Get()), row.result) << "written over an unlocked change";
    }
    RunTool(L"remove protected");
}

TEST(SoftcspProtection, AsksForThePasswordBeforeItsContainerIsChanged) {
    const LoadedProvider held;
    RunTool(L"remove protected");
    ASSERT_EQ(RunTool(L"create protected --password 1234"), 0u);
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_SILENT, L"protected", nullptr, 75));
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(context.Get(), AT_KEYEXCHANGE, key.put()));
    EXPECT_EQ(AddExtension(context.Get()), NTE_SILENT_CONTEXT);
    EXPECT_EQ(Set(context.Get(), 92, "1.2.643.2.2.30.1"), NTE_SILENT_CONTEXT);
    EXPECT_EQ(ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, KeyParameter(key.get(), KP_CERTIFICATE).data(), 0)),
              NTE_SILENT_CONTEXT);
    Set(context.Get(), PP_KEYEXCHANGE_PIN, "1234");
    EXPECT_EQ(AddExtension(context.Get()), 0);
    RunTool(L"remove protected");
}

TEST(SoftcspProtection, BringsContainersOfTheFirstFormatToTheSecond) {
    const LoadedProvider held;
    const struct {
        const wchar_t *file, *name;
        const char* password;
    } table[] = {{L"format1-open.key", L"f1plain", nullptr}, {L"format1-locked.key", L"f1locked", "1234"}};
    for (const auto& row : table) {
        const std::string file = Read(kData + row.file);
        const ContainerPlace place{kPlace.carrier, row.name};
        RunTool(L"remove " + std::wstring(row.name));
        { TestContainer folder(row.name); }
        ASSERT_EQ(kStore.SaveBytes(place, Bytes(file.begin(), file.end())), 0u);
        EXPECT_EQ(Loaded(place).format, 1u);
        EXPECT_EQ(OpenAndLoad(row.name, row.password), 0);
        CCryptProvContext context;
        ASSERT_TRUE(context.Acquire(CRYPT_SILENT, row.name, nullptr, 75));
        if (row.password != nullptr) Set(context.Get(), PP_SIGNATURE_PIN, row.password);
        UniqueCryptHash hash;
        BYTE signature[64];
        DWORD size = sizeof signature;
        ASSERT_TRUE(CryptCreateHash(context.Get(), 0x801E, 0, 0, hash.put()));
        EXPECT_EQ(ErrorOf(CryptSignHashW(hash.get(), AT_SIGNATURE, nullptr, 0, signature, &size)), 0);
        EXPECT_EQ(AddExtension(context.Get()), 0);
        EXPECT_EQ(Loaded(place).format, 2u);
        EXPECT_EQ(Loaded(place).extensions.back().identifier, "1.2.3");
        EXPECT_EQ(OpenAndLoad(row.name, row.password), 0);
        kStore.Remove(place);
    }
}

TEST(SoftcspProtection, StoresExactlyOneWholeCertificate) {
    const LoadedProvider held;
    RunTool(L"remove protected");
    ASSERT_EQ(RunTool(L"create protected"), 0u);
    CCryptProvContext context;
    ASSERT_TRUE(context.Acquire(CRYPT_SILENT, L"protected", nullptr, 75));
    UniqueCryptKey key;
    ASSERT_TRUE(CryptGetUserKey(context.Get(), AT_KEYEXCHANGE, key.put()));
    const TestBytes right = KeyParameter(key.get(), KP_CERTIFICATE);
    ASSERT_EQ(right[1], 0x82);
    const auto write = [&](TestBytes certificate) {
        certificate.resize(70'000);  // what follows in the caller's memory
        return ErrorOf(CryptSetKeyParam(key.get(), KP_CERTIFICATE, certificate.data(), 0));
    };
    TestBytes longer = right, shorter = right, indefinite = right;
    longer[2] = 0x40;  // 16 KB
    shorter[3] ^= 1;
    indefinite[1] = 0x80;
    EXPECT_EQ(write(longer), NTE_BAD_DATA);
    EXPECT_EQ(write(shorter), NTE_BAD_DATA);
    EXPECT_EQ(write(indefinite), NTE_BAD_DATA);
    EXPECT_EQ(write({0x30, 0x00}), NTE_BAD_DATA);
    EXPECT_EQ(KeyParameter(key.get(), KP_CERTIFICATE), right);
    EXPECT_EQ(write(right), 0);
    // A file can have anything where the certificate is expected.
    Container container = Loaded(kPlace);
    container.exchange->certificate.push_back(0);
    ASSERT_EQ(kStore.Save(kPlace, container), 0u);
    DWORD size = 0;
    EXPECT_EQ(ErrorOf(CryptGetKeyParam(key.get(), KP_CERTIFICATE, nullptr, &size, 0)), NTE_BAD_DATA);
    RunTool(L"remove protected");
}

// The accounts in the access control list of an object, in the form of SDDL.
std::wstring Accounts(const std::wstring& path) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    wchar_t* text = nullptr;
    if (GetNamedSecurityInfoW(const_cast<wchar_t*>(path.c_str()), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                              nullptr, nullptr, nullptr, &descriptor) != 0 ||
        !ConvertSecurityDescriptorToStringSecurityDescriptorW(descriptor, SDDL_REVISION_1, DACL_SECURITY_INFORMATION,
                                                              &text, nullptr))
        return L"unreadable";
    const std::wstring list = text;
    LocalFree(text);
    LocalFree(descriptor);
    return list;
}

TEST(SoftcspProtection, GivesNobodyElseRightsToFilesAndFolders) {
    const LoadedProvider held;
    TestContainer users(L"protected"), computers(L"protected", 75, CRYPT_MACHINE_KEYSET);
    ASSERT_TRUE(users.Made() && computers.Made());
    for (const Owner owner : {Owner::User, Owner::Computer}) {
        const std::wstring file = FileOf(kPlace, owner);
        for (const std::wstring& path : {file, ContainerFolder(kPlace.carrier, owner, 75)}) {
            const std::wstring accounts = Accounts(path);
            EXPECT_NE(accounts, L"unreadable");
            EXPECT_EQ(accounts.find(L";WD)"), accounts.npos) << "everyone: " << testing::PrintToString(accounts);
            EXPECT_EQ(accounts.find(L";BU)"), accounts.npos) << "users: " << testing::PrintToString(accounts);
        }
    }
    DWORD size = 0;
    ASSERT_EQ(ErrorOf(CryptGetProvParam(users.Get(), PP_KEYSET_SEC_DESCR, nullptr, &size, DACL_SECURITY_INFORMATION)),
              0);
    TestBytes descriptor(size);
    EXPECT_EQ(ErrorOf(CryptGetProvParam(users.Get(), PP_KEYSET_SEC_DESCR, descriptor.data(), &size,
                                        DACL_SECURITY_INFORMATION)),
              0);
    EXPECT_TRUE(IsValidSecurityDescriptor(descriptor.data()));
    EXPECT_EQ(ErrorOf(CryptGetProvParam(users.Get(), PP_KEYSET_SEC_DESCR, nullptr, &size, 0)), NTE_BAD_FLAGS);
}

DWORD WINAPI ForeignOwner(HANDLE, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID* owner, PSID*, PACL*, PACL*,
                          PSECURITY_DESCRIPTOR* descriptor) {
    *descriptor = LocalAlloc(LMEM_FIXED, SECURITY_MAX_SID_SIZE);
    DWORD size = SECURITY_MAX_SID_SIZE;
    CreateWellKnownSid(WinBuiltinGuestsSid, nullptr, *descriptor, &size);
    *owner = *descriptor;
    return ERROR_SUCCESS;
}

TEST(SoftcspProtection, RefusesFoldersOfOtherAccounts) {
    const auto created = CreateContainer(kPlace.name, {});
    kStore.Remove(kPlace);
    ASSERT_EQ(kStore.Create(kPlace, created->container), 0u);
    {
        const ImportPatch foreign(nullptr, "GetSecurityInfo", ForeignOwner);
        Container container;
        EXPECT_EQ(kStore.Load(kPlace, container), DWORD{ERROR_INVALID_OWNER});
        EXPECT_EQ(kStore.Save(kPlace, created->container), DWORD{ERROR_INVALID_OWNER});
    }
    EXPECT_EQ(kStore.Remove(kPlace), 0u);
}

TEST(SoftcspProtection, BindsKeysWithoutPasswordToTheUserAndSavedOnesToTheirContainer) {
    const LoadedProvider held;
    TestContainer container(L"protected");
    ASSERT_TRUE(container.Made());
    const Container loaded = Loaded(kPlace);
    EXPECT_FALSE(loaded.lock.protectedKey.empty());
    PasswordLock unbound = loaded.lock, derived = loaded.lock;
    derived.protectedKey.clear();
    EXPECT_FALSE(OpenLock(derived, *OpeningKey(derived, {}))) << "opened by a key that everybody can derive";
    unbound.salt[0] ^= 1;
    EXPECT_FALSE(OpeningKey(unbound, {})) << "opened with another container's key";
    // A saved password is bound to the container's place.
    const ContainerPlace other{kPlace.carrier, L"another"};
    const SymmetricKey key = *OpeningKey(loaded.lock, {});
    const SavedPasswords saved(kComputers);
    ASSERT_EQ(saved.Save(kPlace, key), 0u);
    const std::wstring section = L"\\global\\KeyDevices\\passwords\\75/REGISTRY/";
    StoreValue value;
    std::wstring text;
    ASSERT_EQ(Store().Find((section + L"protected\\passwd").c_str(), value), 0u);
    ASSERT_EQ(value.data.Text(text), 0u);
    ASSERT_EQ(Store().WriteText((section + L"another\\passwd").c_str(), text), 0u);
    EXPECT_EQ(saved.Find(kPlace), key);
    EXPECT_FALSE(saved.Find(other));
    saved.Remove(kPlace);
    saved.Remove(other);
}

// A mutex of a known name and an open descriptor would let every account block all containers.
TEST(SoftcspProtection, IsNotBlockedByTheMutexesOfOthers) {
    const LoadedProvider held;
    TestContainer container(L"protected");
    ASSERT_TRUE(container.Made());
    const HANDLE mutex =
        CreateMutexW(nullptr, TRUE, (L"Global\\softcsp-" + TextSum(FileOf(kPlace, Owner::User))).c_str());
    const ULONGLONG start = GetTickCount64();
    std::thread([] { EXPECT_EQ(OpenAndLoad(L"protected"), 0); }).join();
    EXPECT_LT(GetTickCount64() - start, 10'000u);
    ReleaseMutex(mutex);
    CloseHandle(mutex);
    // The lock is a file of the container's folder that nobody else can open meanwhile.
    const FolderLock lock(ContainerFolder(kPlace.carrier, Owner::User, 75), Rights::Owner);
    EXPECT_EQ(lock.Result(), 0u);
    EXPECT_EQ(CreateFileW((ContainerFolder(kPlace.carrier, Owner::User, 75) + L"lock").c_str(), GENERIC_READ,
                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
}

TEST(SoftcspProtection, DerivesThePasswordKeyInManyRoundsButNotInAnyNumber) {
    const LoadedProvider held;
    ClearSetting(kPasswordRoundsSetting);
    auto created = CreateContainer(kPlace.name, Password(L"1234"));
    const std::uint32_t rounds = created->container.lock.rounds;
    EXPECT_GE(rounds, 20'000u);
    EXPECT_TRUE(AcceptsRounds(rounds));
    EXPECT_FALSE(AcceptsRounds(rounds * 20));
    EXPECT_FALSE(AcceptsRounds(0));
    created->container.lock.rounds = 0xFFFFFFFF;
    kStore.Remove(kPlace);
    ASSERT_EQ(kStore.Create(kPlace, created->container), 0u);
    CCryptProvContext context;
    EXPECT_FALSE(context.Acquire(CRYPT_SILENT, L"protected", nullptr, 75));
    EXPECT_EQ(static_cast<HRESULT>(GetLastError()), NTE_KEYSET_ENTRY_BAD);
    // A few rounds on demand, and a failed password is not tried again.
    WriteSetting(kPasswordRoundsSetting, 9);
    EXPECT_EQ(CreateContainer(kPlace.name, Password(L"1234"))->container.lock.rounds, 9u);
    WriteSetting(kPasswordRoundsSetting, 200'000);
    ASSERT_EQ(kStore.Remove(kPlace), 0u);
    ASSERT_EQ(RunTool(L"create protected --password 1234"), 0u);
    ClearSetting(kPasswordRoundsSetting);
    ASSERT_TRUE(context.Acquire(CRYPT_SILENT, L"protected", nullptr, 75));
    Set(context.Get(), PP_KEYEXCHANGE_PIN, "wrong");
    ULONGLONG times[2];
    for (ULONGLONG& time : times) {
        const ULONGLONG start = GetTickCount64();
        EXPECT_EQ(LoadKeys(context.Get()), static_cast<HRESULT>(SCARD_W_WRONG_CHV));
        time = GetTickCount64() - start;
    }
    EXPECT_LT(times[1], times[0] / 4) << "milliseconds of the first and the second opening";
    Set(context.Get(), PP_KEYEXCHANGE_PIN, "1234");
    EXPECT_EQ(LoadKeys(context.Get()), 0);
    RunTool(L"remove protected");
}

// The first allocation fails.
void* FailingOnce(std::size_t size) {
    static auto* const real = reinterpret_cast<decltype(&malloc)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), "malloc")));
    static bool failed = false;
    return std::exchange(failed, true) ? real(size) : nullptr;
}

TEST(SoftcspProtection, CountsCallsAfterMemoryWasShortAtTheFirst) {
    {
        const ImportPatch allocation(nullptr, "malloc", FailingOnce);
        CountCall("CPGenKey");
    }
    const HANDLE ended = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    std::thread([=] {
        CountCall("CPGenKey");
        SetEvent(ended);
    }).detach();
    EXPECT_EQ(WaitForSingleObject(ended, 5'000), WAIT_OBJECT_0) << "the second call waits for the first one";
    CloseHandle(ended);
}

TEST(SoftcspProtection, FindsItsFoldersWithoutTheEnvironment) {
    const LoadedProvider held;
    SetEnvironmentVariableW(L"LOCALAPPDATA", L"C:\\windows\\temp");
    TestContainer container(L"protected");
    EXPECT_TRUE(container.Made());
    EXPECT_EQ(GetFileAttributesW(L"C:\\windows\\temp\\Kelvane"), INVALID_FILE_ATTRIBUTES);
    EXPECT_NE(GetFileAttributesW(FileOf(kPlace, Owner::User).c_str()), INVALID_FILE_ATTRIBUTES);
}

}  // namespace
