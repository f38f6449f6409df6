// What the commands on containers share: the containers that the options select, and access to one of them.
#pragma once

#include "softcsp/container/ContainerStore.h"
#include "softcsp/tool/Command.h"

namespace softcsp {

constexpr Option kMachine{L"--machine"};
constexpr Option kProvider{L"--provider", 1};
constexpr Option kPassword{L"--password", 1};
constexpr Option kScope[] = {kMachine, kProvider};
constexpr Option kScopeAndPassword[] = {kMachine, kProvider, kPassword};

// The user's containers of the 2001 provider, unless the options select others. Throws WrongUsage.
ContainerStore StoreOf(const Options& options);

// All throw CommandFailure with the container's name as given.
ContainerPlace FindContainer(const ContainerStore& store, const std::wstring& name);
Container LoadContainer(const ContainerStore& store, const std::wstring& name, ContainerPlace& place);
const ContainerKey& KeyOf(const Container& container, bool signatureKey);

// The master key, with the password of --password if the container has one.
SymmetricKey UnlockContainer(const Container& container, const Options& options);

// The value of --password, or an empty password. Throws WrongUsage.
Password PasswordOf(const Options& options);

// "exchange" or "signature".
const wchar_t* KeyName(bool signatureKey);

// "set SETTING=VALUE".
void RunSetting(const std::wstring& argument);

}  // namespace softcsp
