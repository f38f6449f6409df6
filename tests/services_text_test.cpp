// Texts in the user's language, those of error codes among them, and the message boxes that show them.
#include <windows.h>

#include <gtest/gtest.h>

#include <set>

#include "applet/services/ErrorText.h"
#include "applet/services/LanguageAware.h"
#include "applet/services/MessageBoxes.h"
#include "applet/services/ProcessCaches.h"
#include "applet/services/Strings.h"
#include "framework/Dialog.h"
#include "framework/Module.h"
#include "tests/support/Boxes.h"
#include "tests/support/Services.h"

namespace {

constexpr UINT kNoSuchId = 60000;

TEST(UserLanguage, IsTheStoredOneAndWithoutTheLibraryTheSystems) {
    const SpokenLanguage stored(kEnglish);
    static LANGID systemLanguage;
    const ImportPatch system(
        nullptr, "GetUserDefaultUILanguage", +[] { return systemLanguage; });
    stored.Set(kRussian);
    EXPECT_EQ(UserLanguage(), kRussian);
    const NoSupport none;
    systemLanguage = 0x0819;
    EXPECT_EQ(UserLanguage(), kRussian);
    systemLanguage = 0x0422;
    EXPECT_EQ(UserLanguage(), kEnglish);
}

TEST(UserLanguage, PagesKeepTheTemplateTheyWereMadeWith) {
    const SpokenLanguage stored(kEnglish);
    const StoredNumber changed(L"\\local\\Language", kRussian);  // behind the services' back
    const CPropertyPageLang page(IDD_GENERAL);
    stored.Set(kEnglish);
    EXPECT_EQ(static_cast<const void*>(page.m_psp.pResource),
              Module::Resource(kDialogType, IDD_GENERAL, kRussian).data());
    EXPECT_FALSE(CPropertyPageLang(kNoSuchId).HasTemplate());
    EXPECT_EQ(CDialogLang(kNoSuchId).DoModal(), -1);
}

TEST(Strings, InBothLanguagesAndEmptyWhenMissing) {
    const SpokenLanguage stored(kEnglish);
    EXPECT_EQ(FormatStringId(IDS_CONTAINER_ACCESS_FAILED, L"%s%n\n%2%1", Insert::AsItIs(L"%1\n100%")),
              L"Access private key container '%s%n‹U+000A›%2%1' error:\n%1\n100%");
    stored.Set(kRussian);
    EXPECT_EQ(LoadStringLang(IDS_LANGUAGE_RUSSIAN), L"Русский");
    EXPECT_EQ(LoadStringLang(kNoSuchId), L"");
    const NoSupport none;
    EXPECT_EQ(FormatStringId(IDS_OVERWRITE_QUESTION, L"a"), L"");
}

TEST(MessageBoxes, TextCaptionTypeAndHelp) {
    const SpokenLanguage english(kEnglish);
    const ShownBoxes boxes;
    Caches().displayName = L"Name %1";
    EXPECT_EQ(MessageBoxFormat(IDS_OVERWRITE_QUESTION, MB_YESNO, L"%s"), IDYES);
    EXPECT_EQ(ShownBoxes::caption, L"Name %1");
    EXPECT_EQ(ShownBoxes::help, DWORD_PTR{IDS_OVERWRITE_QUESTION});
    Caches().displayName.clear();
    ErrorMessageBox(0x80005012);
    EXPECT_EQ(ShownBoxes::caption, L"Vestra CSP Properties");
    EXPECT_EQ(ShownBoxes::shown,
              (Boxes{{MB_YESNO, L"The file %s exists, to overwrite?"},
                     {MB_ICONERROR, L"Error 0x80005012 (-2147463150) Unknown error code (0x80005012)"}}));
    const NoSupport none;
    EXPECT_EQ(MessageBoxId(IDS_REPLACE_QUESTION, MB_YESNO), IDNO) << "Yes to an empty question";
}

// The libraries in the process that know error codes, and what they and the system answer.
struct Messages {
    static HMODULE WINAPI FindModule(LPCWSTR name) {
        if (!name) return Module::Instance();
        if (!loaded.contains(name)) return nullptr;
        if (name == std::wstring(L"kvsign.dll")) return Module::Instance();  // which has a manifest
        if (onlyUnderSignature && ActiveContext() == Module::ActivationContext()) return nullptr;
        found.push_back(name);
        return reinterpret_cast<HMODULE>(found.size());  // a stand-in
    }
    static DWORD WINAPI Format(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPWSTR buffer, DWORD,
                               va_list*) {
        EXPECT_TRUE(flags & FORMAT_MESSAGE_IGNORE_INSERTS);
        const bool system = (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0;
        const std::wstring name = system ? L"system" : found.at(reinterpret_cast<size_t>(source) - 1);
        EXPECT_EQ(code <= 0xFFFF, name == L"winhttp.dll");  // which knows no facilities
        asked += name + std::to_wstring(language) + L" ";
        lstrcpyW(buffer, answer.c_str());
        return silent-- > 0 ? 0 : static_cast<DWORD>(answer.size());
    }
    static HRESULT WINAPI GetDirectoryError(DWORD* error, LPWSTR text, DWORD, LPWSTR provider, DWORD) {
        *error = directoryError;
        lstrcpyW(text, L"no %s\r\n");
        lstrcpyW(provider, L"LDAP");
        return S_OK;
    }
    static HANDLE ActiveContext() {
        HANDLE context = nullptr;
        GetCurrentActCtx(&context);
        ReleaseActCtx(context);
        return context;
    }
    static inline bool onlyUnderSignature = false;
    static inline std::set<std::wstring> loaded;
    static inline std::vector<std::wstring> found;
    static inline std::wstring asked, answer;
    static inline int silent;  // so many are asked before one answers
    static inline DWORD directoryError;
};

class ErrorSources : public testing::Test {
  protected:
    ImportPatch modules{nullptr, "GetModuleHandleW", &Messages::FindModule};
    ImportPatch format{nullptr, "FormatMessageW", &Messages::Format};
    LibraryFunction directory{"ADsGetLastError", &Messages::GetDirectoryError};
};

TEST_F(ErrorSources, AreAskedInTheirOrder) {
    struct Case {
        DWORD code;
        std::set<std::wstring> loaded;
        std::vector<std::wstring> sources;  // before the system unless it is there
        bool onlyUnderSignature = false;
    };
    const Case cases[] = {
        {0xE2100834, {L"kvstamp.dll", L"kvsign.dll"}, {L"kvstamp.dll"}, true},
        {0xC2110834, {L"kvstatus.dll"}, {L"kvstatus.dll"}},
        {0xC00E09C4, {L"mqutil.dll", L"NETMSG"}, {L"mqutil.dll"}},
        {0x80072EE2,
         {L"NETMSG", L"mqutil.dll", L"wininet.dll", L"winhttp.dll", L"ntdsbmsg.dll"},
         {L"system", L"winhttp.dll", L"ntdsbmsg.dll", L"wininet.dll"}},
    };
    Messages::answer = L"text";
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        Messages::loaded = c.loaded;
        Messages::onlyUnderSignature = c.onlyUnderSignature;
        std::vector<std::wstring> asked;  // the user's language first, then any
        for (const std::wstring& source : c.sources) asked.insert(asked.end(), {source + L"9 ", source + L"0 "});
        if (c.sources.empty() || c.sources[0] != L"system") asked.insert(asked.end(), {L"system9 ", L"system0 "});
        std::wstring expected;
        for (size_t answering = 0; answering <= asked.size(); ++answering) {
            Messages::silent = static_cast<int>(answering);
            Messages::asked.clear();
            EXPECT_EQ(ErrorText(c.code, 9).starts_with(L"Unknown error code (0x"), answering == asked.size());
            if (answering < asked.size()) expected += asked[answering];
            EXPECT_EQ(Messages::asked, expected) << "those up to the one that answers";
        }
    }
}

TEST_F(ErrorSources, TheDirectoryServicesOwnWordsAreAppended) {
    struct Case {
        DWORD code;
        const wchar_t* answer;
        DWORD error;
        std::wstring shown;
    };
    const Case cases[] = {
        {0x80070005, L"a\r\nb\r\n\n\r", 5, L"a\r\nb [LDAP, #5 (no %s\r\n)]"},
        {0x80070005, L"", 0xFFFFFFFF, L"ADs [LDAP, #-1 (no %s\r\n)]"},
        {0x80070005, L"\r\n", 0, L"Unknown error code (0x80070005)"},
        {0x80005001, L"", 5, L"E_ADS_INVALID_DOMAIN_OBJECT [LDAP, #5 (no %s\r\n)]"},
        {0x80005012, L"", 5, L"ADs [LDAP, #5 (no %s\r\n)]"},  // a number without a name
        {0x80006000, L"", 5, L"Unknown error code (0x80006000)"},
    };
    Messages::loaded = {L"activeds.dll"};
    for (const Case& c : cases) {
        Messages::answer = c.answer;
        Messages::directoryError = c.error;
        EXPECT_EQ(ErrorText(c.code, kEnglish), c.shown);
    }
    Messages::answer.clear();
}

}  // namespace
