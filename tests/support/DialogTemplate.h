// Reads an extended dialog template (DIALOGEX) into values, so that tests can look at what a dialog will be without
// making it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Positions and sizes are dialog units.
struct DialogControl {
    std::uint32_t id = 0;
    std::uint32_t style = 0;
    std::uint32_t exStyle = 0;
    std::int16_t x = 0, y = 0, cx = 0, cy = 0;
    std::wstring className;      // "Button" and the like where the template holds a system class's number
    std::wstring text;           // empty when the template names a resource by number
    std::uint16_t resource = 0;  // that number, else 0
};

struct DialogTemplate {
    std::uint32_t style = 0;
    std::uint32_t exStyle = 0;
    std::int16_t x = 0, y = 0, cx = 0, cy = 0;
    std::wstring title;
    std::uint16_t pointSize = 0;  // 0 when the template names no font
    std::uint16_t weight = 0;
    std::uint8_t italic = 0;
    std::uint8_t charset = 0;
    std::wstring face;
    std::vector<DialogControl> controls;
};

// Nothing when the bytes are no extended template or end before it does.
std::optional<DialogTemplate> ReadDialogTemplate(std::span<const std::byte> bytes);
