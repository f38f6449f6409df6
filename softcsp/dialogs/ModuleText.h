// Texts and templates of the module that this code is linked into, in the language of softcsp::Language.
#pragma once

#include <windows.h>

#include <string>

namespace softcsp {

HINSTANCE OwnModule();

// Empty when the string isn't there in the language.
std::wstring OwnString(UINT id);

// Owned by the module; nullptr when the template isn't there in the language, which last-error then tells.
const DLGTEMPLATE* OwnTemplate(UINT id);

}  // namespace softcsp
