// Where the provider's files lie: "Kelvane\SoftCSP\" in the application data of the user or of all users.
#pragma once

#include <string>

#include "softcsp/common/Carriers.h"

namespace softcsp {

// With the last backslash; the directory needn't exist. Told by the environment, as the shell sets it, because a
// provider that loads the shell for this would be slow to open. Empty when the environment doesn't tell.
std::wstring ApplicationData(Owner owner);

// Makes the directories above a file. What fails here fails again, and is told, when the file is made.
void MakeFolderOf(const std::wstring& file);

}  // namespace softcsp
