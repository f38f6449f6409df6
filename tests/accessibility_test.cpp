// The names that assistive technology reads of the panel's windows, made from every template.

#include <set>

#include "framework/Accessibility.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "tests/support/SpokenNames.h"

namespace {

// A hidden window from a template of the running program, which carries the panel's resources; nullptr without one.
HWND MakeDialog(WORD id, WORD language) {
    const HRSRC found = FindResourceExW(nullptr, RT_DIALOG, MAKEINTRESOURCEW(id), language);
    if (!found) return nullptr;
    const auto* bytes = static_cast<const DWORD*>(LockResource(LoadResource(nullptr, found)));
    std::vector<DWORD> copy(bytes, bytes + (SizeofResource(nullptr, found) + 3) / 4);
    copy[3] &= ~DWORD{WS_VISIBLE};
    const auto* dialog = reinterpret_cast<DLGTEMPLATE*>(copy.data());
    return CreateDialogIndirectParamW(nullptr, dialog, GetDesktopWindow(), nullptr, 0);
}

std::wstring WithoutKey(HWND window) {
    std::wstring text = WindowText(window);
    std::erase(text, L'&');
    return text;
}

// As the system finds it: what was set, else a button's or text's own, else the text just before the control.
std::wstring SpokenName(HWND control) {
    const auto set = SpokenNames::names.find(control);
    if (set != SpokenNames::names.end()) return set->second;
    wchar_t name[32] = L"";
    GetClassNameW(control, name, 32);
    if (lstrcmpiW(name, WC_BUTTONW) == 0 || lstrcmpiW(name, WC_STATICW) == 0) return WithoutKey(control);
    const HWND before = GetWindow(control, GW_HWNDPREV);
    GetClassNameW(before, name, 32);
    const bool box = (GetWindowLongPtrW(before, GWL_STYLE) & BS_TYPEMASK) == BS_GROUPBOX;
    const bool label = lstrcmpiW(name, WC_STATICW) == 0 || (lstrcmpiW(name, WC_BUTTONW) == 0 && box);
    return label ? WithoutKey(before) : L"";
}

bool TakesFocus(HWND control) {
    const LRESULT kind = SendMessageW(control, WM_GETDLGCODE, 0, 0);
    return (GetWindowLongPtrW(control, GWL_STYLE) & WS_TABSTOP) != 0 || (kind & DLGC_RADIOBUTTON) != 0;
}

TEST(Accessibility, NoTwoControlsOfAWindowAreSpokenAlikeAndNoneIsWithoutName) {
    int dialogs = 0;
    for (WORD id = 1; id < 1000; ++id) {
        for (const WORD language : {WORD{0x409}, WORD{0x419}}) {
            const SpokenNames spoken;
            const HWND dialog = MakeDialog(id, language);
            if (!dialog) continue;
            ++dialogs;
            NameControlsApart(dialog);
            std::set<std::wstring> names;
            for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
                if (!TakesFocus(child)) continue;
                const std::wstring name = SpokenName(child);
                SCOPED_TRACE(testing::Message() << WindowText(dialog) << ", control " << GetDlgCtrlID(child));
                EXPECT_NE(name, L"");
                EXPECT_TRUE(names.insert(name).second) << name << " is spoken twice";
            }
            DestroyWindow(dialog);
        }
    }
    EXPECT_EQ(dialogs, 2 * 17);
}

}  // namespace
