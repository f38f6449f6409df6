// TemplateLang: a dialog template in the user's language.
#pragma once

#include <windows.h>

#include <span>

// What the module has in the language that is set when the object is made: the template and its initialisation data,
// each empty when there is none in exactly that language. The bytes live as long as the module.
struct TemplateLang {
    explicit TemplateLang(UINT id) noexcept;

    std::span<const BYTE> dialog;
    std::span<const BYTE> initData;
};
