#include "wizards/TitleFont.h"

UniqueFont SetTitleFont(HWND title) noexcept {
    constexpr int kPoints = 12, kPointsPerInch = 72;
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
    LOGFONTW font = metrics.lfMessageFont;
    font.lfWeight = FW_BOLD;
    lstrcpynW(font.lfFaceName, L"Verdana Bold", LF_FACESIZE);
    if (const HDC dc = GetDC(title)) {
        font.lfHeight = -(kPoints * GetDeviceCaps(dc, LOGPIXELSY) / kPointsPerInch);
        ReleaseDC(title, dc);
    }
    UniqueFont created(CreateFontIndirectW(&font));
    SendMessageW(title, WM_SETFONT, reinterpret_cast<WPARAM>(created.get()), TRUE);
    return created;
}
