// Where the text of an error code is looked for, and what is made of it.
#include <windows.h>

#include <gtest/gtest.h>

#include <map>

#include "applet/services/ErrorText.h"
#include "applet/services/ProcessCaches.h"
#include "framework/Module.h"
#include "tests/support/Directory.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/Services.h"

namespace {

std::wstring Unknown(DWORD code) {
    wchar_t text[64];
    wsprintfW(text, L"Unknown error code (0x%08X)", code);
    return text;
}

// The library of messages, loaded under another's name.
class MessageLibrary {
  public:
    MessageLibrary(const TemporaryDirectory& directory, const std::wstring& name) {
        const std::wstring path = directory.Path() + name;
        CopyFileW((ProgramDirectory() + L"test_messages.dll").c_str(), path.c_str(), FALSE);
        module.reset(LoadLibraryW(path.c_str()));
    }
    UniqueModule module;
};

TEST(ErrorText, EachFamilyInItsOwnLibraryAndOnlyWhenThatIsLoaded) {
    struct Case {
        const wchar_t* library;
        DWORD code;
        const wchar_t *english, *russian;
    };
    const Case cases[] = {
        {L"mqutil.dll", 0xC00E0003, L"Queue %1", L"Очередь %1"},  // inserts stay
        {L"kvstamp.dll", 0xC2100001, L"Stamp", L"Штамп"},
        {L"kvstatus.dll", 0xC2110001, L"Status", L"Статус"},
        {L"netmsg.dll", 2998, L"Network", L"Сеть"},
        {L"ntdsbmsg.dll", 0xC1230001, L"Other", L"Иное"},
    };
    const TemporaryDirectory directory;
    for (const Case& c : cases) {
        EXPECT_EQ(ErrorText(c.code, kEnglish), Unknown(c.code)) << "nothing loads " << c.library;
        const MessageLibrary library(directory, c.library);
        ASSERT_TRUE(library.module) << c.library;
        EXPECT_EQ(ErrorText(c.code, kEnglish), c.english);
        EXPECT_EQ(ErrorText(c.code, kRussian), c.russian);
        const std::wstring other = ErrorText(c.code, MAKELANGID(LANG_JAPANESE, SUBLANG_DEFAULT));
        EXPECT_TRUE(other == c.english || other == c.russian) << c.library;
    }
}

// Everything asked for a code, "source:language", when nobody knows it. Sources are modules by their names.
std::map<std::wstring, bool> loaded;
std::vector<std::wstring> given;  // a stand-in handle is 1 + the position
std::wstring asked;
DWORD askedCode = 0;

HMODULE WINAPI GiveModule(LPCWSTR name) {
    if (!name) return Module::Instance();
    if (!loaded[name]) return nullptr;
    given.push_back(name);
    return reinterpret_cast<HMODULE>(given.size());
}

DWORD WINAPI NoteFormat(DWORD flags, LPCVOID source, DWORD code, DWORD language, LPWSTR, DWORD size, va_list*) {
    EXPECT_TRUE(flags & FORMAT_MESSAGE_IGNORE_INSERTS);
    EXPECT_EQ(size, 1024u);
    const bool module = (flags & FORMAT_MESSAGE_FROM_HMODULE) != 0;
    EXPECT_NE(module, (flags & FORMAT_MESSAGE_FROM_SYSTEM) != 0);
    const std::wstring name = module ? given.at(reinterpret_cast<size_t>(source) - 1) : L"system";
    asked += name + L":" + std::to_wstring(language) + L" ";
    EXPECT_EQ(code, name == L"winhttp.dll" ? LOWORD(askedCode) : askedCode) << code;
    return 0;
}

TEST(ErrorText, SourcesAreAskedInTheirOrder) {
    const ImportPatch modules(nullptr, "GetModuleHandleW", &GiveModule);
    const ImportPatch format(nullptr, "FormatMessageW", &NoteFormat);
    ASSERT_TRUE(modules.Found() && format.Found());
    const std::wstring common = L"system:9 system:0 ", late =
                                                           L"winhttp.dll:9 winhttp.dll:0 ntdsbmsg.dll:9 "
                                                           L"ntdsbmsg.dll:0 wininet.dll:9 wininet.dll:0 ";
    const std::map<std::wstring, bool> all = {{L"mqutil.dll", true},  {L"kvstamp.dll", true},  {L"kvstatus.dll", true},
                                              {L"NETMSG", true},      {L"winhttp.dll", true},  {L"ntdsbmsg.dll", true},
                                              {L"wininet.dll", true}, {L"activeds.dll", false}};
    struct Case {
        DWORD code;
        const wchar_t* missing;
        std::wstring first;
    };
    const Case cases[] = {
        {0xC00E09C4, L"", L"mqutil.dll:9 mqutil.dll:0 "},
        {0xC00E09C4, L"mqutil.dll", L"NETMSG:9 NETMSG:0 "},
        {0xE00E09C4, L"", L"mqutil.dll:9 mqutil.dll:0 "},  // the three bits above the facility don't count
        {0xC2100834, L"", L"kvstamp.dll:9 kvstamp.dll:0 "},
        {0xC2110834, L"", L"kvstatus.dll:9 kvstatus.dll:0 "},
        {0xC2110834, L"kvstatus.dll", L"NETMSG:9 NETMSG:0 "},
        {0xC00E0833, L"mqutil.dll", L""},
        {2099, L"", L""},
        {2100, L"", L"NETMSG:9 NETMSG:0 "},
        {0xA0120BB7, L"", L"NETMSG:9 NETMSG:0 "},
        {3000, L"", L""},
    };
    for (const Case& c : cases) {
        loaded = all;
        loaded[c.missing] = false;
        askedCode = c.code;
        asked.clear();
        EXPECT_EQ(ErrorText(c.code, 9), Unknown(c.code));
        EXPECT_EQ(asked, c.first + common + late) << std::hex << c.code;
    }
    loaded.clear();
    asked.clear();
    ErrorText(askedCode, 0);
    EXPECT_EQ(asked, L"system:0 ");
}

// The signature library has a time-stamp library of its own, which is found in its activation context only.
HMODULE stampOfSignature = nullptr;
HANDLE signatureContext = INVALID_HANDLE_VALUE;
const ImportPatch* realModules;
HMODULE WINAPI FindStampInContext(LPCWSTR name) {
    HANDLE context = nullptr;
    if (!name || lstrcmpW(name, L"kvstamp.dll") != 0) return realModules->Original<decltype(GetModuleHandleW)>()(name);
    GetCurrentActCtx(&context);
    ReleaseActCtx(context);
    if (context == signatureContext) return stampOfSignature;
    EXPECT_EQ(context, Caches().ModuleContext());
    return nullptr;
}

TEST(ErrorText, ProductLibrariesAreFoundInTheSignatureLibrarysContextToo) {
    const TemporaryDirectory directory;
    const MessageLibrary stamp(directory, L"stamp.dll");
    stampOfSignature = stamp.module.get();
    const ImportPatch modules(nullptr, "GetModuleHandleW", &FindStampInContext);
    realModules = &modules;
    EXPECT_EQ(ErrorText(0xC2100001, kEnglish), Unknown(0xC2100001));
    const MessageLibrary signature(directory, L"kvsign.dll");
    signatureContext = Caches().SignatureLibraryContext();
    ASSERT_NE(signatureContext, INVALID_HANDLE_VALUE);
    EXPECT_NE(signatureContext, Caches().ModuleContext());
    EXPECT_EQ(ErrorText(0xC2100001, kEnglish), L"Stamp");
    EXPECT_EQ(Caches().SignatureLibraryContext(), signatureContext);  // made once
}

TEST(ErrorText, NamesOfDirectoryServiceErrors) {
    const wchar_t* const names[] = {
        L"BAD_PATHNAME",
        L"INVALID_DOMAIN_OBJECT",
        L"INVALID_USER_OBJECT",
        L"INVALID_COMPUTER_OBJECT",
        L"UNKNOWN_OBJECT",
        L"PROPERTY_NOT_SET",
        L"PROPERTY_NOT_SUPPORTED",
        L"PROPERTY_INVALID",
        L"BAD_PARAMETER",
        L"OBJECT_UNBOUND",
        L"PROPERTY_NOT_MODIFIED",
        L"PROPERTY_MODIFIED",
        L"CANT_CONVERT_DATATYPE",
        L"PROPERTY_NOT_FOUND",
        L"OBJECT_EXISTS",
        L"SCHEMA_VIOLATION",
        L"COLUMN_NOT_SET",
        nullptr,
        nullptr,
        nullptr,
        L"INVALID_FILTER",
        nullptr,
    };
    for (DWORD i = 0; i < std::size(names); ++i) {
        const DWORD code = 0x80005000 + i;
        EXPECT_EQ(ErrorText(code, kEnglish), names[i] ? std::wstring(L"E_ADS_") + names[i] : Unknown(code));
    }
    EXPECT_EQ(ErrorText(0x80004FFF, kEnglish), Unknown(0x80004FFF));
}

// What the directory services say of their last error.
HRESULT adsResult = S_OK;
DWORD adsError = 0;
std::wstring adsText, adsProvider;
HRESULT WINAPI GiveDirectoryError(DWORD* error, LPWSTR text, DWORD textSize, LPWSTR provider, DWORD providerSize) {
    EXPECT_EQ(textSize, 256u);
    EXPECT_EQ(providerSize, 256u);
    *error = adsError;
    lstrcpynW(text, adsText.c_str(), 256);
    lstrcpynW(provider, adsProvider.c_str(), 256);
    return adsResult;
}
std::wstring formatted;
DWORD WINAPI GiveText(DWORD, LPCVOID, DWORD, DWORD, LPWSTR buffer, DWORD, va_list*) {
    lstrcpyW(buffer, formatted.c_str());
    return static_cast<DWORD>(formatted.size());
}

TEST(ErrorText, TheDirectoryServicesOwnWordsAreAppended) {
    const ImportPatch modules(nullptr, "GetModuleHandleW", &GiveModule);
    const ImportPatch format(nullptr, "FormatMessageW", &GiveText);
    const LibraryFunction function("ADsGetLastError", &GiveDirectoryError);
    const std::wstring longText(255, L't'), longName(255, L'p');
    struct Case {
        DWORD code;
        std::wstring text;  // the system's
        HRESULT result;
        DWORD error;
        std::wstring provider, detail, shown;
    };
    const Case cases[] = {
        {0x80070005, L"Denied\r\n\n\r", S_OK, 5, L"LDAP", L"no %s\r\n", L"Denied [LDAP, #5 (no %s\r\n)]"},
        {0x80070005, L"", S_OK, 5, L"LDAP", L"no", L"ADs [LDAP, #5 (no)]"},
        {0x80070005, L"", S_FALSE, 0xFFFFFFFF, L"", L"", L"ADs [, #-1 ()]"},
        {0x80070005, L"a\r\nb\r\n", S_OK, 0, L"LDAP", L"no", L"a\r\nb"},
        {0x80070005, L"a", E_FAIL, 5, L"LDAP", L"no", L"a"},
        {0x80005001, L"", S_OK, 5, L"LDAP", L"no", L"E_ADS_INVALID_DOMAIN_OBJECT [LDAP, #5 (no)]"},
        {0x80005012, L"", S_OK, 5, L"LDAP", L"no", L"ADs [LDAP, #5 (no)]"},
        {0x80005FFF, L"", S_OK, 5, L"LDAP", L"no", L"ADs [LDAP, #5 (no)]"},
        {0x80006000, L"", S_OK, 5, L"LDAP", L"no", Unknown(0x80006000)},
        {0x80090016, L"a", S_OK, 5, L"LDAP", L"no", L"a"},
        {0x80070005, L"a", S_OK, 5, longName, longText,
         L"a" + (L" [" + longName + L", #5 (" + longText).substr(0, 260)},
        {0x80070005, L"", S_OK, 5, longName, longText, (L"ADs [" + longName + L", #5 (" + longText).substr(0, 260)},
        {0x80070005, L"\r\n", S_OK, 0, L"", L"", Unknown(0x80070005)},
    };
    for (const Case& c : cases) {
        loaded = {{L"activeds.dll", true}};
        formatted = c.text;
        adsResult = c.result;
        adsError = c.error;
        adsProvider = c.provider;
        adsText = c.detail;
        EXPECT_EQ(ErrorText(c.code, kEnglish), c.shown);
    }
    loaded.clear();
    formatted.clear();
    EXPECT_EQ(ErrorText(0x80070005, kEnglish), Unknown(0x80070005));
}

TEST(ErrorText, TheMessageShownToTheUser) {
    const SpokenLanguage stored(kEnglish);
    const std::wstring denied = ErrorMessageText(ERROR_ACCESS_DENIED);
    EXPECT_EQ(denied, L"Error 0x00000005 (5) Access denied.");
    const std::wstring noKeySet = ErrorMessageText(0x80090016);
    EXPECT_EQ(noKeySet.find(L"Error 0x80090016 (-2146893802) "), 0u);
    EXPECT_EQ(noKeySet.find_first_of(L"\r\n"), std::wstring::npos);
    stored.Set(kRussian);
    const std::wstring russian = ErrorMessageText(ERROR_ACCESS_DENIED);
    EXPECT_NE(russian, denied);
    EXPECT_NE(russian.find(L"0x00000005 (5) " + ErrorText(ERROR_ACCESS_DENIED, kRussian)), std::wstring::npos);
    EXPECT_NE(ErrorText(ERROR_ACCESS_DENIED, kRussian), ErrorText(ERROR_ACCESS_DENIED, kEnglish));
}

}  // namespace
