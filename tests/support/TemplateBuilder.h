// Builds dialog templates in memory.
#pragma once

#include <windows.h>

#include <initializer_list>
#include <vector>

// Window classes as templates number them.
enum ControlClass : WORD { kButtonClass = 0x80, kEditClass, kStaticClass, kComboClass = 0x85 };

struct ControlSpec {
    ControlClass kind;
    WORD id;
    DWORD style;  // beside WS_CHILD and WS_VISIBLE
};

// A template without texts; the controls stand below each other in their order.
inline std::vector<BYTE> BuildTemplate(DWORD style, std::initializer_list<ControlSpec> controls) {
    std::vector<WORD> words;
    const auto put = [&words](auto... values) { (words.push_back(static_cast<WORD>(values)), ...); };
    // Extended style, count, place in dialog units, then no menu, the usual class, no title.
    put(LOWORD(style), HIWORD(style), 0, 0, controls.size(), 0, 0, 100, 10 * controls.size(), 0, 0, 0);
    int y = 0;
    for (const auto& [kind, id, own] : controls) {
        words.resize((words.size() + 1) / 2 * 2);  // they begin at multiples of four bytes
        // Extended style, place, id, class by number, then no text, no creation data.
        put(LOWORD(own), HIWORD(own | WS_CHILD | WS_VISIBLE), 0, 0, 0, y, 100, 10, id, 0xFFFF, kind, 0, 0);
        y += 10;
    }
    const auto* bytes = reinterpret_cast<const BYTE*>(words.data());
    return {bytes, bytes + words.size() * sizeof(WORD)};
}
