// Runs a dialog of the framework with steps that work on it.
#pragma once

#include <vector>

#include "framework/Dialog.h"
#include "tests/support/ModalScript.h"

constexpr INT_PTR kLeftOpen = -77;  // no dialog ends with it by itself

// The steps run inside the dialog; one that is still open after them is ended with kLeftOpen.
inline INT_PTR RunDialog(CDialog& dialog, std::vector<ModalScript::Step> steps,
                         std::vector<ShownBox>* boxes = nullptr) {
    steps.emplace_back([](HWND window) { EndDialog(window, kLeftOpen); });
    ModalScript script(std::move(steps));
    const INT_PTR result = dialog.DoModal();
    if (boxes) *boxes = script.Boxes();
    return result;
}
