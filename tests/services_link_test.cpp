// A static text that behaves as a hyperlink, in a real dialog.
#include <windows.h>
#include <shellapi.h>

#include <gtest/gtest.h>

#include "applet/services/ProcessCaches.h"
#include "applet/services/StaticLink.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Services.h"

namespace {

constexpr UINT kLink = 60000;  // no string has this id

// A link of a style made in a dialog, for as long as the object lives.
struct Link {
    Link(const CDialog& dialog, UINT id = kLink, DWORD style = SS_LEFT)
        : window(CreateWindowExW(0, L"STATIC", L"own text", WS_CHILD | WS_VISIBLE | style, 0, 0, 50, 10, dialog.m_hWnd,
                                 reinterpret_cast<HMENU>(UINT_PTR{id}), nullptr, nullptr)) {
        SendMessageW(window, WM_SETFONT, static_cast<WPARAM>(dialog.SendMessage(WM_GETFONT)), FALSE);
        link.SubclassWindow(window);
    }
    ~Link() { DestroyWindow(window); }

    void Click() const { SendMessageW(window, WM_LBUTTONDOWN, MK_LBUTTON, 0); }

    HWND window;
    CStaticLink link;
};

// What the dialog answers when a control asks how it is to be painted.
struct Paint {
    Paint(const CDialog& dialog, const Link& link) : context(CreateCompatibleDC(nullptr)) {
        brush = reinterpret_cast<HBRUSH>(dialog.SendMessage(WM_CTLCOLORSTATIC, reinterpret_cast<WPARAM>(context),
                                                            reinterpret_cast<LPARAM>(link.window)));
        color = GetTextColor(context);
        mode = GetBkMode(context);
        GetObjectW(GetCurrentObject(context, OBJ_FONT), sizeof font, &font);
        DeleteDC(context);
    }
    HDC context;
    HBRUSH brush;
    COLORREF color;
    int mode;
    LOGFONTW font{};
};

constexpr COLORREF kBlue = 0x00FF0000, kPurple = 0x00800080;

TEST(StaticLink, OnlyPlainTextsArePaintedAsLinks) {
    InDialog([](CDialog& dialog) {
        const auto hollow = static_cast<HBRUSH>(GetStockObject(HOLLOW_BRUSH));
        for (const DWORD style : {SS_LEFT, SS_CENTER, SS_RIGHT, SS_LEFTNOWORDWRAP, SS_ICON, SS_BITMAP, SS_OWNERDRAW}) {
            const Link link(dialog, kLink, style);
            const Paint paint(dialog, link);
            const bool plain = style <= SS_RIGHT;
            EXPECT_EQ(paint.brush == hollow, plain) << style;
            EXPECT_EQ(paint.color == kBlue, plain) << style;
        }
    });
}

TEST(StaticLink, TakesTheMouseAndUnderlinesItsOwnFont) {
    InDialog([](CDialog& dialog) {
        const Link link(dialog);
        LOGFONTW own{};
        GetObjectW(reinterpret_cast<HFONT>(dialog.SendMessage(WM_GETFONT)), sizeof own, &own);
        ASSERT_FALSE(own.lfUnderline);
        EXPECT_EQ(SendMessageW(link.window, WM_NCHITTEST, 0, 0), HTCLIENT);  // the mouse isn't let through
        const Paint paint(dialog, link);
        EXPECT_EQ(paint.mode, TRANSPARENT);
        EXPECT_TRUE(paint.font.lfUnderline);
        EXPECT_EQ(paint.font.lfHeight, own.lfHeight);
        EXPECT_STREQ(paint.font.lfFaceName, own.lfFaceName);
        const LRESULT font = SendMessageW(link.window, WM_GETFONT, 0, 0);
        const Paint again(dialog, link);
        EXPECT_EQ(SendMessageW(link.window, WM_GETFONT, 0, 0), font);  // made once
    });
}

struct Opened {
    std::wstring verb, target;
    int show;
};
std::vector<Opened> opened;
INT_PTR openResult = 0;
HINSTANCE WINAPI NoteOpened(HWND, LPCWSTR verb, LPCWSTR target, LPCWSTR, LPCWSTR, INT show) {
    opened.push_back({verb, target, show});
    return reinterpret_cast<HINSTANCE>(openResult);
}
int beeps = 0;
BOOL WINAPI NoteBeep(UINT type) {
    EXPECT_EQ(type, 0u);
    ++beeps;
    return TRUE;
}
HWND redrawn = nullptr;
BOOL WINAPI NoteRedraw(HWND window, const RECT*, BOOL) {
    redrawn = window;
    return TRUE;
}

class StaticLinkClick : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(shell.Found() && beep.Found() && redraw.Found());
        opened.clear();
        beeps = 0;
        redrawn = nullptr;
    }
    ImportPatch shell{nullptr, "ShellExecuteW", &NoteOpened};
    ImportPatch beep{nullptr, "MessageBeep", &NoteBeep};
    ImportPatch redraw{nullptr, "InvalidateRect", &NoteRedraw};
    SpokenLanguage english{kEnglish};
};

TEST_F(StaticLinkClick, OpensTheTargetElseTheControlsStringElseItsText) {
    struct Case {
        UINT id;
        const wchar_t *target, *opened;
    };
    const Case cases[] = {
        {IDS_COLUMN_NAME, L"https://example.org/?a=%1", L"https://example.org/?a=%1"},
        {IDS_COLUMN_NAME, L"", L"Name"},
        {kLink, L"", L"own text"},
    };
    InDialog([&](CDialog& dialog) {
        openResult = 33;
        for (const Case& c : cases) {
            Link link(dialog, c.id);
            link.link.SetTarget(c.target);
            link.Click();
            ASSERT_FALSE(opened.empty());
            EXPECT_EQ(opened.back().verb, L"open");
            EXPECT_EQ(opened.back().target, c.opened);
            EXPECT_EQ(opened.back().show, SW_SHOWNORMAL);
        }
    });
}

TEST_F(StaticLinkClick, OnlyAnOpenedLinkTurnsPurple) {
    InDialog([](CDialog& dialog) {
        const Link link(dialog);
        for (const INT_PTR result : {0, 2, 31, 32}) {
            openResult = result;
            link.Click();
        }
        EXPECT_EQ(beeps, 4);
        EXPECT_EQ(redrawn, nullptr);
        EXPECT_EQ(Paint(dialog, link).color, kBlue);
        openResult = 33;
        link.Click();
        EXPECT_EQ(beeps, 4);
        EXPECT_EQ(redrawn, link.window);
        EXPECT_EQ(Paint(dialog, link).color, kPurple);
    });
}

TEST_F(StaticLinkClick, AHandlerGetsTheClickInstead) {
    struct Handler : ILinkHandler {
        void OnLinkClicked(HWND link) override { clicked.push_back(link); }
        std::vector<HWND> clicked;
    } handler;
    InDialog([&](CDialog& dialog) {
        Link link(dialog);
        link.link.SetLinkHandler(&handler);
        link.Click();
        EXPECT_EQ(handler.clicked, std::vector<HWND>{link.window});
        EXPECT_TRUE(opened.empty());
        EXPECT_EQ(Paint(dialog, link).color, kBlue);
    });
}

const ImportPatch* cursors;
int loads = 0;
bool present = true;
// Not every system's common controls have the hand.
HCURSOR WINAPI GiveHand(HINSTANCE library, LPCWSTR id) {
    EXPECT_NE(GetProcAddress(library, "InitCommonControlsEx"), nullptr);
    EXPECT_EQ(id, MAKEINTRESOURCEW(108));
    ++loads;
    return present ? cursors->Original<decltype(LoadCursorW)>()(nullptr, IDC_HAND) : nullptr;
}

TEST(StaticLink, TheHandIsLoadedOnceAndShownOverEveryLink) {
    const ImportPatch patch(nullptr, "LoadCursorW", &GiveHand);
    ASSERT_TRUE(patch.Found());
    cursors = &patch;
    for (const bool there : {true, false}) {
        present = there;
        loads = 0;
        ProcessCaches caches;
        EXPECT_EQ(caches.HandCursor() != nullptr, there);
        EXPECT_EQ(caches.HandCursor() != nullptr, there);
        EXPECT_EQ(loads, 1);
    }
    present = true;
    InDialog([](CDialog& dialog) {
        for (int i = 0; i < 2; ++i) {
            const Link link(dialog);
            SetCursor(nullptr);
            EXPECT_TRUE(SendMessageW(link.window, WM_SETCURSOR, reinterpret_cast<WPARAM>(link.window),
                                     MAKELPARAM(HTCLIENT, WM_MOUSEMOVE)));
            EXPECT_EQ(GetCursor(), Caches().HandCursor());
            EXPECT_NE(GetCursor(), nullptr);
        }
    });
}

}  // namespace
