// The user's language, and the texts of the string table in it.
#pragma once

#include <windows.h>

#include <string>
#include <utility>

constexpr LANGID kEnglish = 1033;
constexpr LANGID kRussian = 1049;

// The language that the user set for the product. Without the support library, which has the setting: Russian when that
// is the system's language, otherwise English.
LANGID LanguageSetting() noexcept;

// The language for new windows and texts: in the panel the product's setting (PanelStrings.cpp), in vestractl the one
// that the command line may choose (console/Language.cpp).
LANGID UserLanguage() noexcept;

// The same, after the library has read the setting again. To be called before a template is chosen.
LANGID UpdatedUserLanguage() noexcept;

// Empty when the string, or in the panel the library that chooses its language, is missing. In the panel at most 255
// characters. Defined in PanelStrings.cpp for the panel, in console/Language.cpp for vestractl.
std::wstring LoadStringLang(UINT id);

// A text for the place of "%1" or "%2". Names, paths and the like come from outside the program, so their control and
// direction characters are shown as such (VisibleText).
class Insert {
  public:
    Insert() = default;
    // NOLINTBEGIN(google-explicit-constructor): a text is the usual insert.
    Insert(const std::wstring& foreign);
    Insert(const wchar_t* foreign) : Insert(std::wstring(foreign)) {}
    // NOLINTEND(google-explicit-constructor)

    // A text of the system or of the program, which may have several lines.
    static Insert AsItIs(std::wstring text) {
        Insert insert;
        insert.text_ = std::move(text);
        return insert;
    }

    const std::wstring& Text() const noexcept { return text_; }

  private:
    std::wstring text_;
};

// The string with "%1" and "%2" replaced; empty when the string is.
std::wstring FormatStringId(UINT id, const Insert& insert1, const Insert& insert2 = {});

// Reads a value of this module's version resource ("ProductName", "LegalCopyright"). False when it can't be read;
// `value` stays as it was then.
bool LoadVersionString(const wchar_t* name, std::wstring& value);

// The application's display name, the caption of its windows and message boxes: the name that UpdateDisplayName set,
// else the title in the string table.
std::wstring DisplayName();

// Sets the display name to ProductName in this module's version resource, or to the title in the string table.
void UpdateDisplayName();
