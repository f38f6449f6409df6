// What "init" tells the system's cryptography: the names of the provider's algorithms and the functions of kvcrypt.dll.
#pragma once

#include <string>

namespace softcsp {

// `library` is the full path of kvcrypt.dll. What is there already is written anew. Programs that run already don't
// learn the algorithms' names: the system reads them when it loads. Throws Failure.
void RegisterCryptography(const std::wstring& library);

// Missing registrations are fine. Throws Failure.
void UnregisterCryptography();

}  // namespace softcsp
