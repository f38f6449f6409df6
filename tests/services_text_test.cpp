// Texts in the user's language, those of error codes among them, and the message boxes that show them.

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
    const StoredNumber machine(L"\\config\\Language", kRussian);
    const SpokenLanguage stored(1058);
    const ImportPatch system(
        "GetUserDefaultUILanguage", +[] { return LANGID{0x0819}; });
    EXPECT_EQ(UserLanguage(), kRussian) << "there is no third language";
    stored.Set(kEnglish);
    EXPECT_EQ(UserLanguage(), kEnglish);
    const NoSupport none;
    EXPECT_EQ(UserLanguage(), kRussian);
}

TEST(UserLanguage, PagesKeepTheTemplateTheyWereMadeWith) {
    const SpokenLanguage stored(kEnglish);
    const StoredNumber changed(L"\\local\\Language", kRussian);  // behind the services' back
    const CPropertyPageLang page(IDD_GENERAL);
    stored.Set(kEnglish);
    EXPECT_EQ(static_cast<const void*>(page.m_psp.pResource),
              Module::Resource(kDialogType, IDD_GENERAL, kRussian).data());
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
        HANDLE context = nullptr;
        GetCurrentActCtx(&context);
        ReleaseActCtx(context);
        if (onlyUnderSignature && context == Module::ActivationContext()) return nullptr;
        found.emplace_back(name);
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
        return static_cast<DWORD>(answer.size());
    }
    static HRESULT WINAPI GetDirectoryError(DWORD* error, LPWSTR text, DWORD, LPWSTR provider, DWORD) {
        *error = directoryError;
        lstrcpyW(text, L"no %s\r\n");
        lstrcpyW(provider, L"LDAP");
        return S_OK;
    }
    static inline bool onlyUnderSignature = false;
    static inline std::set<std::wstring> loaded;
    static inline std::vector<std::wstring> found;
    static inline std::wstring asked, answer;
    static inline DWORD directoryError;
};

class ErrorSources : public testing::Test {
  protected:
    ImportPatch modules{"GetModuleHandleW", &Messages::FindModule};
    ImportPatch format{"FormatMessageW", &Messages::Format};
    LibraryFunction directory{"ADsGetLastError", &Messages::GetDirectoryError};
};

// In the user's language, then in any.
TEST_F(ErrorSources, AreAskedInTheirOrder) {
    const struct {
        DWORD code;
        std::set<std::wstring> loaded;
        const wchar_t* asked;
        bool onlyUnderSignature = false;
    } cases[] = {
        {0xE2100834, {L"kvstamp.dll", L"kvsign.dll"}, L"kvstamp.dll9 kvstamp.dll0 system9 system0 ", true},
        {0xC2110834, {L"kvstatus.dll"}, L"kvstatus.dll9 kvstatus.dll0 system9 system0 "},
        {0xC00E09C4, {L"mqutil.dll", L"NETMSG"}, L"mqutil.dll9 mqutil.dll0 system9 system0 "},
        {0x80070834, {L"NETMSG"}, L"NETMSG9 NETMSG0 system9 system0 "},
        {0x80072EE2,
         {L"NETMSG", L"mqutil.dll", L"wininet.dll", L"winhttp.dll", L"ntdsbmsg.dll"},
         L"system9 system0 winhttp.dll9 winhttp.dll0 ntdsbmsg.dll9 ntdsbmsg.dll0 wininet.dll9 wininet.dll0 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        Messages::loaded = c.loaded;
        Messages::onlyUnderSignature = c.onlyUnderSignature;
        Messages::asked.clear();
        EXPECT_TRUE(ErrorText(c.code, 9).starts_with(L"Unknown error code (0x"));
        EXPECT_EQ(Messages::asked, c.asked);
    }
}

TEST_F(ErrorSources, TheDirectoryServicesOwnWordsAreAppended) {
    const struct {
        DWORD code;
        const wchar_t* answer;
        DWORD error;
        std::wstring shown;
    } cases[] = {
        {0x80070005, L"a\r\nb\r\n\n\r", 5, L"a\r\nb [LDAP, #5 (no %s\r\n)]"},
        {0x80070005, L"\r\n", 0, L"Unknown error code (0x80070005)"},
        {0x80005001, L"", 5, L"E_ADS_INVALID_DOMAIN_OBJECT [LDAP, #5 (no %s\r\n)]"},
        {0x80005FFF, L"", 0xFFFFFFFF, L"ADs [LDAP, #-1 (no %s\r\n)]"},
        {0x80006000, L"", 5, L"Unknown error code (0x80006000)"},
    };
    Messages::loaded = {L"activeds.dll"};
    for (const auto& c : cases) {
        Messages::answer = c.answer;
        Messages::directoryError = c.error;
        EXPECT_EQ(ErrorText(c.code, kEnglish), c.shown);
    }
    Messages::answer.clear();
}

}  // namespace
