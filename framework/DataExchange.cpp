#include "framework/DataExchange.h"

#include <cwchar>
#include <cwctype>
#include <limits>

#include "framework/Text.h"
#include "framework/Wnd.h"

namespace {

// Sets only a different text, because setting one moves the caret and sends EN_CHANGE.
void ShowText(HWND control, const std::wstring& text) {
    if (WindowText(control) != text) SetWindowTextW(control, text.c_str());
}

enum class Parsed { Number, NotANumber, OutOfRange };

// A whole decimal number with spaces around it at most. Numbers beyond 64 bits count as out of range.
Parsed ParseInteger(const std::wstring& text, long long least, long long most, long long& value) {
    const wchar_t* at = text.c_str();
    while (iswspace(*at)) ++at;
    const bool negative = *at == L'-';
    if (*at == L'-' || *at == L'+') ++at;
    if (*at < L'0' || *at > L'9') return Parsed::NotANumber;
    constexpr long long kBound = std::numeric_limits<long long>::max() / 16;
    long long number = 0;
    for (; *at >= L'0' && *at <= L'9'; ++at) {
        if (number < kBound) number = number * 10 + (*at - L'0');
    }
    while (iswspace(*at)) ++at;
    if (*at) return Parsed::NotANumber;
    value = negative ? -number : number;
    return value >= least && value <= most ? Parsed::Number : Parsed::OutOfRange;
}

template <class Number>
void ExchangeNumber(CDataExchange* exchange, UINT id, Number& value, unsigned wrongText) {
    const HWND edit = exchange->PrepareEditCtrl(id);
    if (!exchange->m_bSaveAndValidate) {
        ShowText(edit, NumberText(value));
        return;
    }
    long long number = 0;
    const Parsed parsed =
        ParseInteger(WindowText(edit), std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(), number);
    if (parsed != Parsed::Number) exchange->Fail(wrongText);
    value = static_cast<Number>(number);
}

}  // namespace

// Defined here so that framework/Wnd does not include this unit.
bool CWnd::UpdateData(bool saveAndValidate) {
    if (!m_hWnd) return false;
    CDataExchange exchange(*this, saveAndValidate);
    try {
        DoDataExchange(&exchange);
        return true;
    } catch (const CDataExchange::Failed&) {
        return false;
    }
}

HWND CDataExchange::PrepareCtrl(UINT id) {
    control_ = m_pDlgWnd->GetDlgItem(id);
    edit_ = false;
    return control_;
}

HWND CDataExchange::PrepareEditCtrl(UINT id) {
    PrepareCtrl(id);
    edit_ = true;
    return control_;
}

void CDataExchange::LimitText(int most) const {
    if (edit_) SendMessageW(control_, EM_LIMITTEXT, static_cast<WPARAM>(most), 0);
}

void CDataExchange::Fail(unsigned textId, const std::wstring& insert1, const std::wstring& insert2) {
    // The message box moves the focus, so the focus is set after it.
    const HWND control = control_;
    m_pDlgWnd->ShowMessage(FillInserts(m_pDlgWnd->LoadText(textId), insert1, insert2), MB_ICONEXCLAMATION | MB_OK);
    if (control) {
        SetFocus(control);
        if (edit_) SendMessageW(control, EM_SETSEL, 0, -1);
    }
    throw Failed{};
}

void DDX_Control(CDataExchange* exchange, UINT id, CWnd& control) {
    if (!control.m_hWnd) control.SubclassDlgItem(id, *exchange->m_pDlgWnd);
}

void DDX_Text(CDataExchange* exchange, UINT id, std::wstring& value) {
    const HWND edit = exchange->PrepareEditCtrl(id);
    if (exchange->m_bSaveAndValidate) {
        value = WindowText(edit);
    } else {
        ShowText(edit, value);
    }
}

void DDX_Text(CDataExchange* exchange, UINT id, int& value) {
    ExchangeNumber(exchange, id, value, FrameworkText::kEnterInteger);
}

void DDX_Text(CDataExchange* exchange, UINT id, UINT& value) {
    ExchangeNumber(exchange, id, value, FrameworkText::kEnterUnsigned);
}

void DDX_Check(CDataExchange* exchange, UINT id, bool& value) {
    const HWND button = exchange->PrepareCtrl(id);
    if (exchange->m_bSaveAndValidate) {
        value = SendMessageW(button, BM_GETCHECK, 0, 0) == BST_CHECKED;
    } else {
        SendMessageW(button, BM_SETCHECK, value ? BST_CHECKED : BST_UNCHECKED, 0);
    }
}

void DDX_Radio(CDataExchange* exchange, UINT id, int& value) {
    HWND button = exchange->PrepareCtrl(id);
    if (exchange->m_bSaveAndValidate) value = -1;
    int position = 0;
    do {
        if (SendMessageW(button, WM_GETDLGCODE, 0, 0) & DLGC_RADIOBUTTON) {
            if (!exchange->m_bSaveAndValidate) {
                SendMessageW(button, BM_SETCHECK, position == value ? BST_CHECKED : BST_UNCHECKED, 0);
            } else if (SendMessageW(button, BM_GETCHECK, 0, 0) == BST_CHECKED) {
                value = position;
            }
            ++position;
        }
        button = GetWindow(button, GW_HWNDNEXT);
    } while (button && !(GetWindowLongW(button, GWL_STYLE) & WS_GROUP));
}

void DDX_CBIndex(CDataExchange* exchange, UINT id, int& value) {
    const HWND combo = exchange->PrepareCtrl(id);
    if (exchange->m_bSaveAndValidate) {
        value = static_cast<int>(SendMessageW(combo, CB_GETCURSEL, 0, 0));
    } else {
        SendMessageW(combo, CB_SETCURSEL, static_cast<WPARAM>(value), 0);
    }
}

void DDV_MinMaxInt(CDataExchange* exchange, int value, int least, int most) {
    if (!exchange->m_bSaveAndValidate || (value >= least && value <= most)) return;
    exchange->Fail(FrameworkText::kEnterIntegerBetween, NumberText(least), NumberText(most));
}

void DDV_MaxChars(CDataExchange* exchange, const std::wstring& value, int most) {
    if (!exchange->m_bSaveAndValidate) {
        exchange->LimitText(most);
    } else if (value.size() > static_cast<size_t>(most)) {
        exchange->Fail(FrameworkText::kEnterShorterText, NumberText(most));
    }
}

void DDV_MaxChars(CDataExchange* exchange, int most) {
    if (!exchange->m_bSaveAndValidate) exchange->LimitText(most);
}
