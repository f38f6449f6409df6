#include "wizards/WizPageCheckContainerFinish.h"

#include <utility>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/ClientWindow.h"
#include "framework/Clipboard.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"
#include "wizards/TitleFont.h"

namespace {

constexpr wchar_t kNoLabel[] = L"  ";

std::wstring TextOf(UINT id) {
    return id ? LoadStringLang(id) : std::wstring();
}

}  // namespace

CWizPageCheckContainerFinish::CWizPageCheckContainerFinish(CheckContainerState& state)
    : CWizardPageBase(IDD_CHECK_REPORT, IDS_WIZARD_CHECK), state_(state) {}

std::span<const Route> CWizPageCheckContainerFinish::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageCheckContainerFinish::OnCopy>(IDC_REPORT_COPY, BN_CLICKED),
    };
    return table;
}

void CWizPageCheckContainerFinish::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_REPORT_ROWS, list_);
}

bool CWizPageCheckContainerFinish::OnInitDialog() {
    CWizardPageBase::OnInitDialog();
    RECT area{};
    GetClientRect(list_.m_hWnd, &area);
    // Until the first check tells what its rows need.
    for (const int column : {0, 1}) list_.InsertColumn(column, {}, area.right / 2);
    list_.SetExtendedStyle(LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP);
    titleFont_ = SetTitleFont(GetDlgItem(IDC_REPORT_TITLE));
    return true;
}

bool CWizPageCheckContainerFinish::OnSetActive() {
    GetParentSheet()->SetWizardButtons(PSWIZB_BACK | PSWIZB_FINISH);
    list_.DeleteAllItems();  // of another container
    rows_.clear();
    return CWizardPageBase::OnSetActive();
}

void CWizPageCheckContainerFinish::OnShown() {
    RunCheck();
}

void CWizPageCheckContainerFinish::RunCheck() {
    {
        const ClientWindow client(m_hWnd);
        const CWaitCursor wait;
        CheckContainer(state_.container.Get(), state_.keySet, *this);
    }
    for (const int column : {0, 1}) list_.SetColumnWidth(column, LVSCW_AUTOSIZE);
    list_.EnsureVisible(0);
}

void CWizPageCheckContainerFinish::Row(UINT label, UINT value) {
    Insert(Place::End, TextOf(label), TextOf(value));
}

void CWizPageCheckContainerFinish::Row(UINT label, std::wstring_view value) {
    Insert(Place::End, TextOf(label), std::wstring(value));
}

void CWizPageCheckContainerFinish::Failure(UINT label, DWORD error) {
    Insert(Place::End, TextOf(label), ErrorMessageText(error));
}

void CWizPageCheckContainerFinish::Continuation(std::wstring_view value) {
    Insert(Place::End, kNoLabel, std::wstring(value));
}

void CWizPageCheckContainerFinish::Continuation(UINT value) {
    Insert(Place::End, kNoLabel, TextOf(value));
}

void CWizPageCheckContainerFinish::Verdict(UINT label, UINT value) {
    Insert(Place::Top, TextOf(label), TextOf(value));
}

void CWizPageCheckContainerFinish::Insert(Place place, std::wstring label, std::wstring value) {
    const auto position = place == Place::Top ? rows_.begin() : rows_.end();
    const int item = list_.InsertItem(static_cast<int>(position - rows_.begin()), label);
    if (item < 0) return;
    if (!value.empty()) list_.SetItemText(item, 1, value);
    rows_.insert(position, {std::move(label), std::move(value)});
    list_.EnsureVisible(item);
    UpdateWindow(list_.m_hWnd);  // the check may take its time, and no message comes through before its end
}

void CWizPageCheckContainerFinish::OnCopy() {
    CopyToClipboard(m_hWnd, ReportText(rows_));
}
