// Texts in the user's language, and the message boxes that show them.
#include <windows.h>

#include <gtest/gtest.h>

#include "applet/services/DisplayName.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/ProcessCaches.h"
#include "applet/services/PropertyPageLang.h"
#include "applet/services/Strings.h"
#include "framework/DialogInit.h"
#include "framework/Module.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Services.h"

namespace {

constexpr UINT kNoSuchId = 60000;

LANGID systemLanguage = 0;
LANGID WINAPI GiveSystemLanguage() {
    return systemLanguage;
}

TEST(UserLanguage, IsTheStoredOneAndWithoutTheLibraryTheSystems) {
    const SpokenLanguage stored(kEnglish);
    const ImportPatch system(nullptr, "GetUserDefaultUILanguage", &GiveSystemLanguage);
    ASSERT_TRUE(system.Found());
    for (const LANGID language : {kRussian, kEnglish}) {
        systemLanguage = language == kRussian ? kEnglish : kRussian;
        stored.Set(language);
        EXPECT_EQ(UserLanguage(), language);
    }
    const StoredNumber later(L"\\local\\Language", kRussian);
    EXPECT_EQ(UserLanguage(), kEnglish);
    EXPECT_EQ(UpdatedUserLanguage(), kRussian);

    const NoSupport none;
    for (const auto& [asked, given] : {std::pair{0x0419, kRussian}, {0x0819, kRussian}, {0x0422, kEnglish}}) {
        systemLanguage = static_cast<LANGID>(asked);
        EXPECT_EQ(UserLanguage(), given) << asked;
    }
}

TEST(UserLanguage, PagesAndDialogsKeepTheTemplateTheyWereMadeWith) {
    const SpokenLanguage stored(kEnglish);
    for (const LANGID language : {kRussian, kEnglish}) {
        stored.Set(language);
        const CPropertyPageLang page(IDD_GENERAL);
        stored.Set(language == kRussian ? kEnglish : kRussian);
        EXPECT_TRUE(page.HasTemplate());
        EXPECT_EQ(static_cast<const void*>(page.m_psp.pResource),
                  Module::Resource(kDialogType, IDD_GENERAL, language).data());
        EXPECT_TRUE(page.m_psp.dwFlags & PSP_DLGINDIRECT);
    }
    EXPECT_FALSE(CPropertyPageLang(kNoSuchId).HasTemplate());
    EXPECT_EQ(CDialogLang(kNoSuchId).DoModal(), -1);
}

// Stand-ins for the library's string function, at the borders of its contract.
DWORD FillAll(HINSTANCE, UINT, wchar_t* buffer, DWORD* length) {
    std::fill_n(buffer, *length + 1, L'x');  // no terminator
    return 0;
}
DWORD SpoilAndFail(HINSTANCE, UINT, wchar_t* buffer, DWORD*) {
    lstrcpyW(buffer, L"spoilt");
    return ERROR_MORE_DATA;
}

TEST(Strings, InBothLanguagesAndEmptyWhenMissing) {
    const SpokenLanguage stored(kEnglish);
    EXPECT_EQ(LoadStringLang(IDS_SAVE_FAILED), L"Error saving parameters.");
    stored.Set(kRussian);
    EXPECT_EQ(LoadStringLang(IDS_LANGUAGE_RUSSIAN), L"Русский");
    EXPECT_EQ(LoadStringLang(kNoSuchId), L"");
    {
        const LibraryFunction filling("support_resource_string", &FillAll);
        ForgetSupportFunctions();
        EXPECT_EQ(LoadStringLang(IDS_SAVE_FAILED), std::wstring(255, L'x'));
    }
    {
        const LibraryFunction failing("support_resource_string", &SpoilAndFail);
        ForgetSupportFunctions();
        EXPECT_EQ(LoadStringLang(IDS_SAVE_FAILED), L"");
    }
    const NoSupport none;
    EXPECT_EQ(LoadStringLang(IDS_SAVE_FAILED), L"");
    EXPECT_EQ(FormatStringId(IDS_OVERWRITE_QUESTION, L"a"), L"");
}

TEST(Strings, InsertsAreTakenAsTheyStand) {
    const SpokenLanguage english(kEnglish);
    EXPECT_EQ(FormatStringId(IDS_CONTAINER_ACCESS_FAILED, L"%s%n%2%1", L"%1\n100%"),
              L"Access private key container '%s%n%2%1' error:\n%1\n100%");
    EXPECT_EQ(FormatStringId(IDS_OVERWRITE_QUESTION, L"C:\\a b"), L"The file C:\\a b exists, to overwrite?");
    EXPECT_EQ(FormatStringId(kNoSuchId, L"a", L"b"), L"");
}

TEST(Strings, VersionStringsAndTheDisplayName) {
    const SpokenLanguage english(kEnglish);
    std::wstring value = L"before";
    EXPECT_FALSE(LoadVersionString(L"NoSuchName", value));
    EXPECT_EQ(value, L"before");
    EXPECT_TRUE(LoadVersionString(L"ProductName", value));
    EXPECT_EQ(value, L"Vestra CSP");

    EXPECT_EQ(DisplayName(), L"Vestra CSP Properties");
    UpdateDisplayName();
    EXPECT_EQ(DisplayName(), L"Vestra CSP");
    const LibraryFunction none("support_resource_version_string", nullptr);
    ForgetSupportFunctions();
    UpdateDisplayName();
    EXPECT_EQ(DisplayName(), L"Vestra CSP Properties");
    Caches().displayName.clear();
}

struct Box {
    std::wstring text, caption;
    DWORD style;
    DWORD_PTR help;
    HWND owner;
};
Box box;
int WINAPI NoteBox(const MSGBOXPARAMSW* parameters) {
    box = {parameters->lpszText, parameters->lpszCaption, parameters->dwStyle, parameters->dwContextHelpId,
           parameters->hwndOwner};
    return IDNO;
}

TEST(MessageBoxes, TextCaptionTypeAndHelp) {
    const SpokenLanguage english(kEnglish);
    const ImportPatch show(nullptr, "MessageBoxIndirectW", &NoteBox);
    ASSERT_TRUE(show.Found());
    Caches().displayName = L"Name %1";
    struct Case {
        std::function<int()> show;
        std::wstring text;
        DWORD style;
        DWORD_PTR help;
    };
    const Case cases[] = {
        {[] { return MessageBoxId(IDS_SAVE_FAILED, MB_ICONERROR); }, L"Error saving parameters.", MB_ICONERROR,
         IDS_SAVE_FAILED},
        {[] { return MessageBoxFormat(IDS_OVERWRITE_QUESTION, MB_YESNO, L"%s"); }, L"The file %s exists, to overwrite?",
         MB_YESNO, IDS_OVERWRITE_QUESTION},
        {[] { return MessageBoxText(L"%n", MB_OKCANCEL); }, L"%n", MB_OKCANCEL, 0},
        {[] { return ErrorMessageBox(0x80005012); }, L"Error 0x80005012 (-2147463150) Unknown error code (0x80005012)",
         MB_ICONERROR, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(c.show(), IDNO);
        EXPECT_EQ(box.text, c.text);
        EXPECT_EQ(box.caption, L"Name %1");
        EXPECT_EQ(box.style, c.style);
        EXPECT_EQ(box.help, c.help);
    }
    const NoSupport none;
    MessageBoxId(IDS_SAVE_FAILED, MB_ICONERROR);
    EXPECT_EQ(box.text, L"");
    Caches().displayName.clear();
}

TEST(MessageBoxes, TheOwnerIsTheActiveWindowOrTheFrontmostUsableOne) {
    const ImportPatch show(nullptr, "MessageBoxIndirectW", &NoteBox);
    MessageBoxText(L"", MB_OK);
    EXPECT_EQ(box.owner, nullptr);

    const auto make = [](DWORD style) {
        return CreateWindowExW(0, L"STATIC", L"", WS_POPUP | style, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    };
    const HWND back = make(0), disabled = make(WS_DISABLED), hidden = make(0);
    for (const HWND window : {back, disabled}) ShowWindow(window, SW_SHOWNOACTIVATE);
    SetWindowPos(disabled, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    ASSERT_EQ(GetActiveWindow(), nullptr);
    MessageBoxText(L"", MB_OK);
    EXPECT_EQ(box.owner, back);
    SetActiveWindow(hidden);
    MessageBoxText(L"", MB_OK);
    EXPECT_EQ(box.owner, hidden);
    for (const HWND window : {back, disabled, hidden}) DestroyWindow(window);
}

}  // namespace
