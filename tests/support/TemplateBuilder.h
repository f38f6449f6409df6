// Builds dialog templates in memory.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <vector>

struct ControlSpec {
    const wchar_t* className;
    WORD id;
    DWORD style;  // beside WS_CHILD and WS_VISIBLE
    const wchar_t* text = L"";
};

// An extended template without a font; the controls stand below each other in their order, each 100 by 10 dialog units.
std::vector<BYTE> BuildTemplate(DWORD style, const wchar_t* title, std::initializer_list<ControlSpec> controls);
