// Data exchange between a window's controls and its object's members, in the two directions of UpdateData.
#pragma once

#include <windows.h>

#include <string>
#include <type_traits>

// Ids of the framework's texts in the string table of the module that it is linked into.
namespace FrameworkText {

enum Id : unsigned {
    kEnterInteger = 61712,         // no insert
    kEnterIntegerBetween = 61714,  // %1 least, %2 most
    kEnterShorterText = 61716,     // %1 most characters
    kEnterUnsigned = 61719,        // no insert
};

}  // namespace FrameworkText

class CWnd;

class CDataExchange {
  public:
    // Thrown when the content of a control is not valid. Caught by UpdateData.
    struct Failed {};

    CDataExchange(CWnd& window, bool saveAndValidate) noexcept
        : m_pDlgWnd(&window), m_bSaveAndValidate(saveAndValidate) {}

    CWnd* m_pDlgWnd;
    bool m_bSaveAndValidate;  // true: controls into members

    // The control that Fail() gives the focus to; an edit control has its text selected as well.
    HWND PrepareCtrl(UINT id);
    HWND PrepareEditCtrl(UINT id);

    // Limits how many characters the user can type into the edit control last prepared.
    void LimitText(int most) const;

    // Shows the text to the user, moves the focus to the control last prepared, and ends the exchange.
    [[noreturn]] void Fail(unsigned textId, const std::wstring& insert1 = {}, const std::wstring& insert2 = {});

  private:
    HWND control_ = nullptr;
    bool edit_ = false;
};

// Subclasses the control, at the first exchange.
void DDX_Control(CDataExchange* exchange, UINT id, CWnd& control);

void DDX_Text(CDataExchange* exchange, UINT id, std::wstring& value);
void DDX_Text(CDataExchange* exchange, UINT id, int& value);
void DDX_Text(CDataExchange* exchange, UINT id, UINT& value);
void DDX_Check(CDataExchange* exchange, UINT id, bool& value);
void DDX_Radio(CDataExchange* exchange, UINT id, int& value);    // position in the group that `id` begins; -1: none
void DDX_CBIndex(CDataExchange* exchange, UINT id, int& value);  // -1: nothing selected

// An enumeration whose values are the positions in the group that `id` begins.
template <class Enum>
requires std::is_enum_v<Enum>
void DDX_Radio(CDataExchange* exchange, UINT id, Enum& value) {
    auto position = static_cast<int>(value);
    DDX_Radio(exchange, id, position);
    value = static_cast<Enum>(position);
}

// Call each directly after the DDX_Text of its control.
void DDV_MinMaxInt(CDataExchange* exchange, int value, int least, int most);
void DDV_MaxChars(CDataExchange* exchange, const std::wstring& value, int most);
void DDV_MaxChars(CDataExchange* exchange, int most);  // of a number: only limits what can be typed
