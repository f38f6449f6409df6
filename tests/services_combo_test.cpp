// The combo box of a provider parameter, against a provider made up here.
#include <windows.h>
#include <wincrypt.h>

#include <gtest/gtest.h>

#include "applet/services/ComboParam.h"
#include "applet/services/ParameterEntry.h"
#include "tests/support/ImportPatch.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Services.h"

namespace {

using Bytes = std::vector<BYTE>;
using Texts = std::vector<std::wstring>;
constexpr DWORD kList = 103, kValue = 92;

// An entry with its name behind its number and a value of its own in between.
Bytes Entry(std::wstring_view name, BYTE value) {
    Bytes bytes = {5, 0, 1, 0, value};
    for (const wchar_t character : name) {
        bytes.push_back(static_cast<BYTE>(character));
        bytes.push_back(static_cast<BYTE>(character >> 8));
    }
    bytes.insert(bytes.end(), 2, 0);
    return bytes;
}

struct Provider {
    std::vector<Bytes> entries;
    Bytes value;
    size_t next = 0;      // the entry that the list goes on with
    int failingCall = 0;  // from 1; 0: none
    int calls = 0;
    std::vector<Bytes> written;
} provider;

BOOL WINAPI GetParameter(HCRYPTPROV handle, DWORD parameter, BYTE* data, DWORD* length, DWORD flags) {
    EXPECT_EQ(handle, 77u);
    if (++provider.calls == provider.failingCall) return FALSE;
    const Bytes* bytes = &provider.value;
    if (parameter == kList) {
        if (flags & CRYPT_FIRST) provider.next = 0;
        if (provider.next == provider.entries.size()) return FALSE;
        bytes = &provider.entries[provider.next];
        provider.next += data != nullptr;
    } else {
        EXPECT_EQ(parameter, kValue);
        EXPECT_EQ(flags, 0u);
    }
    if (data) {
        EXPECT_GE(*length, bytes->size());
        std::copy(bytes->begin(), bytes->end(), data);
    }
    *length = static_cast<DWORD>(bytes->size());
    return TRUE;
}

BOOL WINAPI SetParameter(HCRYPTPROV handle, DWORD parameter, const BYTE* data, DWORD flags) {
    EXPECT_EQ(handle, 77u);
    EXPECT_EQ(parameter, kValue);
    EXPECT_EQ(flags, 0u);
    // The provider knows a value's length by itself; here every entry is longer than five bytes.
    const auto entry = std::find_if(provider.entries.begin(), provider.entries.end(),
                                    [&](const Bytes& bytes) { return std::equal(bytes.begin(), bytes.end(), data); });
    provider.written.push_back(entry == provider.entries.end() ? Bytes() : *entry);
    return FALSE;  // nobody asks
}

class ComboParam : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(get.Found() && set.Found());
        provider = {{Entry(L"beta", 1), Entry(L"Альфа", 2), Entry(L"beta", 3)}, Entry(L"Альфа", 2), 0, 0, 0, {}};
        record.provider = 77;
    }

    // Attaches a sorted list, so that positions in the list aren't those of the entries.
    void Run(const std::function<void(CComboParam&)>& body) {
        InDialog([&](CDialog& dialog) {
            CComboParam combo(kList, kValue);
            const HWND window =
                CreateWindowExW(0, L"COMBOBOX", L"", WS_CHILD | CBS_DROPDOWNLIST | CBS_SORT, 0, 0, 90, 90,
                                dialog.m_hWnd, reinterpret_cast<HMENU>(UINT_PTR{kBox}), nullptr, nullptr);
            ASSERT_TRUE(combo.SubclassWindow(window));
            combo.Attach(&record);
            body(combo);
            items = Ui::Items(dialog.m_hWnd, kBox);
            enabled = Ui::Enabled(dialog.m_hWnd, kBox);
        });
    }

    static constexpr UINT kBox = 60000;
    ImportPatch get{nullptr, "CryptGetProvParam", &GetParameter};
    ImportPatch set{nullptr, "CryptSetProvParam", &SetParameter};
    SpokenLanguage english{kEnglish};
    ProviderRecord record;
    Texts items;
    bool enabled = false;
};

TEST_F(ComboParam, ShowsTheEntriesAndSelectsTheLastThatEqualsTheValue) {
    const Bytes twice = Entry(L"beta", 1), byId = {IDS_SAVE_FAILED, 0, 0, 0, 9}, unnamed = {0, 0, 0, 0};
    Bytes longer = twice;
    longer.push_back(0);
    struct Case {
        std::vector<Bytes> entries;
        Bytes value;
        Texts items;
        int selected;
    };
    const Case cases[] = {
        {{twice}, twice, {L"beta"}, 0},
        {{Entry(L"b", 1), Entry(L"a", 2)}, Entry(L"b", 1), {L"a", L"b"}, 1},
        {{twice, Entry(L"alpha", 1), twice}, twice, {L"alpha", L"beta", L"beta"}, 2},
        {{Entry(L"a", 1), twice}, longer, {L"a", L"beta"}, 0},
        {{Entry(L"a", 1), longer}, twice, {L"a", L"beta"}, 0},
        {{Entry(L"a", 1), twice}, {}, {L"a", L"beta"}, 0},
        {{byId, twice}, byId, {L"beta", L"Error saving parameters."}, 1},
        {{unnamed, twice, {1, 2}}, twice, {L"beta"}, 0},
    };
    for (const Case& c : cases) {
        provider = {c.entries, c.value, 0, 0, 0, {}};
        Run([&](CComboParam& combo) {
            EXPECT_EQ(combo.GetCurSel(), c.selected);
            EXPECT_FALSE(combo.IsModified());
        });
        EXPECT_EQ(items, c.items);
        EXPECT_TRUE(enabled);
        EXPECT_EQ(record.length, c.value.size());
        EXPECT_EQ(record.parameter, kValue);
    }
}

TEST_F(ComboParam, SaveWritesTheChosenEntryOnce) {
    Run([](CComboParam& combo) {
        combo.Save();
        EXPECT_TRUE(provider.written.empty());
        combo.SetCurSel(0);  // "beta" sorts before Cyrillic letters
        EXPECT_TRUE(combo.IsModified());
        combo.SetCurSel(2);
        EXPECT_FALSE(combo.IsModified());
        combo.SetCurSel(0);
        combo.Save();
        EXPECT_FALSE(combo.IsModified());
        combo.Save();
    });
    ASSERT_EQ(provider.written.size(), 1u);
    EXPECT_EQ(provider.written[0][4] % 2, 1);  // one of the two entries of that name, whole
    EXPECT_EQ(provider.written[0].size(), Entry(L"beta", 0).size());
}

// Two calls an entry and one that finds the list's end, then two for the value.
TEST_F(ComboParam, AfterAFailureDisabledAndNeverWritten) {
    for (int call = 1; call <= 9; ++call) {
        SCOPED_TRACE(call);
        provider.calls = 0;
        provider.failingCall = call;
        const bool usable = call >= 3 && call <= 7;  // the list only ends earlier
        Run([&](CComboParam& combo) {
            EXPECT_FALSE(combo.IsModified());
            combo.SetCurSel(combo.GetCurSel() == 0 ? 1 : 0);
            EXPECT_EQ(combo.IsModified(), usable && combo.GetCount() > 1);
            if (!usable) combo.Save();
        });
        EXPECT_EQ(enabled, usable);
    }
    EXPECT_TRUE(provider.written.empty());
}

TEST_F(ComboParam, NothingToChooseFromIsNothingToSave) {
    provider.entries = {{0, 0, 0, 0}};
    Run([](CComboParam& combo) { EXPECT_FALSE(combo.IsModified()); });
    EXPECT_FALSE(enabled);
    provider.entries = {Entry(L"a", 1)};
    Run([](CComboParam& combo) {
        combo.Attach(nullptr);
        EXPECT_FALSE(combo.IsModified());
        combo.Save();
    });
    EXPECT_FALSE(enabled);
    EXPECT_TRUE(items.empty());
    EXPECT_TRUE(provider.written.empty());
}

TEST(ParameterEntry, NamesAreReadFromTheBytesThereAre) {
    struct Case {
        Bytes entry;
        bool named;
        uint32_t id;
        std::u16string text;
    };
    const Case cases[] = {
        {{}, false, 0, u""},
        {{103, 0, 0}, false, 0, u""},
        {{0, 0, 0, 0}, false, 0, u""},
        {{103, 0, 0, 0}, true, 103, u""},
        {{0xFF, 0xFF, 0, 0, 'x', 0}, true, 0xFFFF, u""},
        {{4, 0, 1, 0, 'A', 0, 0x11, 0x04, 0, 0, 'x', 0}, true, 0, u"AБ"},
        {{4, 0, 1, 0, 'A', 0, 'B', 0}, true, 0, u"AB"},  // not terminated
        {{4, 0, 1, 0, 'A', 0, 'B'}, true, 0, u"A"},      // half a character
        {{5, 0, 1, 0, 0, 'A', 0}, true, 0, u"A"},        // at an odd place
        {{4, 0, 1, 0}, false, 0, u""},
        {{4, 0, 1, 0, 'A'}, false, 0, u""},
        {{4, 0, 1, 0, 0, 0, 'A', 0}, false, 0, u""},
        {{9, 0, 1, 0, 'A', 0}, false, 0, u""},
        {{0xFF, 0xFF, 0xFF, 0xFF, 'A', 0}, false, 0, u""},
    };
    for (const Case& c : cases) {
        ParameterName name{7, u"before"};
        const bool named = ReadParameterName(c.entry.data(), c.entry.size(), name);
        EXPECT_EQ(named, c.named) << &c - cases;
        if (!named) continue;
        EXPECT_EQ(name.stringId, c.id) << &c - cases;
        EXPECT_TRUE(name.text == c.text) << &c - cases;
    }
}

}  // namespace
