// Owning handles, texts with inserts, the tie between a window and its object, initialisation data.

#include "framework/Dialog.h"
#include "framework/Handles.h"
#include "framework/Text.h"
#include "framework/Wnd.h"

namespace {

std::vector<LONG_PTR> closedHandles;

// Spoils the last error, as a failing close call does.
void NoteClosed(LONG_PTR handle) {
    closedHandles.push_back(handle);
    SetLastError(ERROR_INVALID_HANDLE);
}
using Noted = UniqueHandle<LONG_PTR, &NoteClosed, EmptyHandle::InvalidHandleValue>;

TEST(UniqueHandleTest, ClosesEachHandleOnceAndKeepsTheLastError) {
    SetLastError(ERROR_GEN_FAILURE);
    {
        const Noted zero(0);  // a handle where INVALID_HANDLE_VALUE is none
        Noted from(1), over(2), put(3), reset(4);
        over = std::move(from);
        *put.put() = 5;
        reset.reset();
    }
    EXPECT_EQ(closedHandles, (std::vector<LONG_PTR>{2, 3, 4, 5, 1, 0}));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
}

TEST(TextTest, InsertsAreTakenAsTheyStandAndWhatNothingFitsStays) {
    struct {
        std::wstring filled;
        const wchar_t* expected;
    } const cases[] = {
        {FillInserts(L"%2, %1, %2", L"%2 %1", L"%s%n"), L"%s%n, %2 %1, %s%n"},
        {FillInserts(L"%%1 %s%n%3%", L"a"), L"%1 %s%n%3%"},
        {VisibleText(L"Имя %1\t\x202Egnp\r\n\x85"), L"Имя %1‹U+0009›‹U+202E›gnp‹U+000D›‹U+000A›‹U+0085›"},
        {VisibleText(L"\x200E\xFEFF\xAD \xA0ё"), L"‹U+200E›‹U+FEFF›‹U+00AD› \xA0ё"},
        {FillPlaces(L"%s: %u of %d", {L"%d%n%s", ~0u, ~0u}), L"%d%n%s: 4294967295 of -1"},
        {FillPlaces(L"%04d, %2u", {~4u, 12345u}), L"-005, 12345"},
        {FillPlaces(L"100%% %s %X", {10u}), L"100% %s A"},
        {FillPlaces(L"%n %p %123d %08", {1u}), L"%n %p %123d %08"},
    };
    for (const auto& [filled, expected] : cases) EXPECT_EQ(filled, expected);
}

TEST(WndTest, AWindowAndItsObjectLetGoOfEachOther) {
    const HWND window = CreateWindowW(L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    {
        CWnd shortLived;
        ASSERT_TRUE(shortLived.SubclassWindow(window));
    }
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr) << "the object went first";
    CWnd control;
    ASSERT_TRUE(control.SubclassWindow(window));
    DestroyWindow(window);
    EXPECT_EQ(control.m_hWnd, nullptr) << "the window went first";
}

TEST(DialogInitTest, EntriesFillTheirControlsUpToTheFirstBadOne) {
    // Control, message, length of the text, text. More entries follow in memory, behind the data.
    const std::string entry("\1\0\3\4\2\0\0\0a\0", 10), unended("\1\0\3\4\1\0\0\0a", 9), end(2, '\0'),
        whole = entry + entry + end, memory = whole + entry + end;
    const HWND window = CreateWindowW(L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr),
               combo = CreateWindowW(L"COMBOBOX", L"", WS_CHILD, 0, 0, 9, 9, window, reinterpret_cast<HMENU>(1),
                                     nullptr, nullptr);
    const auto apply = [&](const std::string& data, size_t size) {
        SendMessageW(combo, CB_RESETCONTENT, 0, 0);
        return ApplyDialogInit(window, {reinterpret_cast<const BYTE*>(data.data()), size});
    };
    for (size_t size = 0; size <= whole.size(); ++size) {
        EXPECT_EQ(apply(memory, size), size == whole.size()) << size;
        EXPECT_EQ(SendMessageW(combo, CB_GETCOUNT, 0, 0), size / entry.size()) << size;
    }
    EXPECT_FALSE(apply(entry + unended + end, entry.size() + unended.size() + end.size()));
    DestroyWindow(window);
}

}  // namespace
