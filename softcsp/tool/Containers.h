// What the commands on containers share: which containers are meant, and finding one of them.
#pragma once

#include "softcsp/container/ContainerStore.h"
#include "softcsp/tool/Options.h"

namespace softcsp {

constexpr Option kMachine{L"--machine"};
constexpr Option kProvider{L"--provider", 1};
constexpr Option kPassword{L"--password", 1};
constexpr Option kScope[] = {kMachine, kProvider};

// The user's containers of the 2001 provider, unless the options name others. Throws WrongUsage.
ContainerStore StoreOf(const Options& options);

// All throw Failure, with the container's name as it was given.
ContainerPlace FindContainer(const ContainerStore& store, const std::wstring& name);
Container LoadContainer(const ContainerStore& store, const std::wstring& name, ContainerPlace& place);
const ContainerKey& KeyOf(const Container& container, bool signatureKey);

// What --password gives, else the empty one. Throws WrongUsage.
Password PasswordOf(const Options& options);

// "exchange" or "signature".
const wchar_t* KeyName(bool signatureKey);

}  // namespace softcsp
