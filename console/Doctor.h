// What keeps the panel and the provider from working on this machine, and what to do about it.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

enum class Health { Good, Warning, Error };

struct Diagnosis {
    std::wstring id;  // the same in every language: "library.kvsuprt.dll"
    Health health;
    std::wstring found;   // in the user's language
    std::wstring advice;  // likewise; empty when there is nothing to do
};

// `panel`: the panel's file. Nothing is changed on the machine, and no window is shown.
std::vector<Diagnosis> Diagnose(const std::wstring& panel);
