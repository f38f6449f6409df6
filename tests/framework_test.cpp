// Owning handles, texts with inserts, and the tie between a window and its object.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "framework/Text.h"
#include "framework/UniqueHandle.h"
#include "framework/Wnd.h"

namespace {

// Notes every handle it closes, and spoils the last error as a failing close call does.
struct NotingPolicy {
    using Handle = int;
    static inline std::vector<int> closed;
    static Handle null() noexcept { return -1; }
    static void close(Handle handle) {
        closed.push_back(handle);
        SetLastError(ERROR_INVALID_HANDLE);
    }
};
using Noted = UniqueHandle<NotingPolicy>;

TEST(UniqueHandleTest, ClosesEachHandleOnceAndKeepsTheLastError) {
    struct {
        const char* name;
        std::function<void()> use;
        std::vector<int> closed;
    } const cases[] = {
        {"none", [] { Noted none; }, {}},
        {"end", [] { Noted handle(1); }, {1}},
        {"zero is a handle where the policy says so", [] { Noted handle(0); }, {0}},
        {"release", [] { EXPECT_EQ(Noted(1).release(), 1); }, {}},
        {"reset", [] { Noted(1).reset(); }, {1}},
        {"reset to another", [] { Noted(1).reset(2); }, {1, 2}},
        {"put closes first", [] { *Noted(1).put() = 2; }, {1, 2}},
        {"move",
         [] {
             Noted from(1), to(std::move(from));
             EXPECT_FALSE(from);
             EXPECT_EQ(to.get(), 1);
         },
         {1}},
        {"move over",
         [] {
             Noted from(1), to(2);
             to = std::move(from);
             EXPECT_EQ(to.get(), 1);
         },
         {2, 1}},
        {"move to itself",
         [] {
             Noted handle(1);
             Noted& same = handle;
             handle = std::move(same);
             EXPECT_EQ(handle.get(), 1);
         },
         {1}},
    };
    for (const auto& [name, use, closed] : cases) {
        SCOPED_TRACE(name);
        NotingPolicy::closed.clear();
        SetLastError(ERROR_GEN_FAILURE);
        use();
        EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        EXPECT_EQ(NotingPolicy::closed, closed);
    }
}

TEST(TextTest, InsertsAreTakenAsTheyStand) {
    struct {
        std::wstring filled;
        const wchar_t* expected;
    } const cases[] = {
        {FillInserts(L"%1 of %2", L"one", L"two"), L"one of two"},
        {FillInserts(L"%2%1%2", L"a", L"b"), L"bab"},
        {FillInserts(L"%1, %2", L"%2 %1", L"%s%n"), L"%2 %1, %s%n"},
        {FillInserts(L"%%1 is %1", L"a"), L"%1 is a"},
        {FillInserts(L"%s%n%3%", L"a"), L"%s%n%3%"},
        {FillInserts(L"", L"a"), L""},
    };
    for (const auto& [filled, expected] : cases) EXPECT_EQ(filled, expected);
}

TEST(TextTest, PlacesAreFilledInOrder) {
    struct {
        std::wstring filled;
        const wchar_t* expected;
    } const cases[] = {
        {FillPlaces(L"%s: %u of %d", {L"a", 1u, 2u}), L"a: 1 of 2"},
        {FillPlaces(L"%u %d", {~0u, ~0u}), L"4294967295 -1"},
        {FillPlaces(L"0x%08X, %X, %4d, %04d", {0xABu, 0xABu, 7u, 7u}), L"0x000000AB, AB,    7, 0007"},
        {FillPlaces(L"%04d, %4d", {static_cast<unsigned>(-5), static_cast<unsigned>(-5)}), L"-005,   -5"},
        {FillPlaces(L"%2u", {12345u}), L"12345"},
        {FillPlaces(L"%s, %d", {L"%d%n%s", 5u}), L"%d%n%s, 5"},
        {FillPlaces(L"100%% of %%d", {5u}), L"100% of %d"},
        // What nothing fits stays.
        {FillPlaces(L"%s and %d", {}), L"%s and %d"},
        {FillPlaces(L"%s %s", {L"a"}), L"a %s"},
        {FillPlaces(L"%d %s", {L"a"}), L"%d a"},
        {FillPlaces(L"%s %X", {10u}), L"%s A"},
        {FillPlaces(L"%n %p %123d", {1u}), L"%n %p %123d"},
        {FillPlaces(L"%08", {1u}), L"%08"},
        {FillPlaces(L"100%", {1u}), L"100%"},
    };
    for (const auto& [filled, expected] : cases) EXPECT_EQ(filled, expected);
}

class Control : public CWnd {
  public:
    int ends = 0;

  protected:
    void PostNcDestroy() override { ++ends; }
};

TEST(WndTest, AWindowAndItsObjectLetGoOfEachOther) {
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"text", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr);
    EXPECT_EQ(CWnd::FromHandlePermanent(nullptr), nullptr);
    EXPECT_FALSE(Control().SubclassWindow(nullptr));
    {
        Control shortLived;
        ASSERT_TRUE(shortLived.SubclassWindow(window));
        EXPECT_EQ(CWnd::FromHandlePermanent(window), &shortLived);
    }
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr) << "the object went first";

    Control control;
    ASSERT_TRUE(control.SubclassWindow(window));
    EXPECT_EQ(control.GetWindowText(), L"text");
    DestroyWindow(window);
    EXPECT_EQ(control.m_hWnd, nullptr) << "the window went first";
    EXPECT_EQ(CWnd::FromHandlePermanent(window), nullptr);
    EXPECT_EQ(control.ends, 1);
}

}  // namespace
