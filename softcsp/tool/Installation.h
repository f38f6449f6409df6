// What the product's installer leaves behind: a product that uses the panel's component, so that the panel finds
// its own installation, its versions and its links. Written straight into the installer's registry data.
#pragma once

#include <string>

namespace softcsp {

constexpr wchar_t kProductCode[] = L"{6F3A1D74-0C58-4E9B-A2D7-58B1C46E930F}";

// Throw Failure.
void DeleteInstallation();
// `panel` is the full path of the panel's file, the component's key file.
void WriteInstallation(const std::wstring& panel);

}  // namespace softcsp
