#include "wizards/WizPageCheckContainerFinish.h"

#include <algorithm>
#include <utility>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/CheckTexts.h"
#include "csp/ClientWindow.h"
#include "framework/Clipboard.h"
#include "framework/DataExchange.h"
#include "framework/PropertySheet.h"
#include "framework/Text.h"
#include "framework/WaitCursor.h"
#include "resources/resource.h"
#include "wizards/TitleFont.h"

namespace {

constexpr wchar_t kNoLabel[] = L"  ";

std::wstring TextOf(UINT id) {
    return id ? LoadStringLang(id) : std::wstring();
}

HFONT TextFont(HWND list) noexcept {
    return reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0));
}

UniqueFont CreateBold(HWND list) noexcept {
    LOGFONTW font{};
    GetObjectW(TextFont(list), sizeof font, &font);
    font.lfWeight = FW_BOLD;
    return UniqueFont(CreateFontIndirectW(&font));
}

// What a column needs to show the text in that font, beside a mark.
int VerdictWidth(HWND list, HFONT font, const std::wstring& text) noexcept {
    SIZE extent{};
    if (const HDC dc = GetDC(list)) {
        const HGDIOBJ before = SelectObject(dc, font);
        GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &extent);
        SelectObject(dc, before);
        ReleaseDC(list, dc);
    }
    constexpr int kMargins = 4;  // on either side of the text, in edges
    return extent.cx + GetSystemMetrics(SM_CXSMICON) + 2 * kMargins * GetSystemMetrics(SM_CXEDGE);
}

}  // namespace

CWizPageCheckContainerFinish::CWizPageCheckContainerFinish(CheckContainerState& state)
    : CWizardPageBase(IDD_CHECK_REPORT, IDS_WIZARD_CHECK), state_(state) {}

std::span<const Route> CWizPageCheckContainerFinish::Routes() const {
    static constexpr Route table[] = {
        on<&CWizPageCheckContainerFinish::OnCopy>(IDC_REPORT_COPY, BN_CLICKED),
        onNotify<&CWizPageCheckContainerFinish::OnDraw>(IDC_REPORT_ROWS, NM_CUSTOMDRAW),
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
    list_.SetStateImages(CreateMarks());
    titleFont_ = SetTitleFont(GetDlgItem(IDC_REPORT_TITLE));
    verdictFont_ = CreateBold(list_.m_hWnd);
    return true;
}

bool CWizPageCheckContainerFinish::OnSetActive() {
    SetWizardButtons(PSWIZB_BACK | PSWIZB_FINISH);
    ShowCompleted(false);
    Clear();  // of another container
    due_ = true;
    return CWizardPageBase::OnSetActive();
}

// The check runs here, after the page has been painted, since it may take its time.
void CWizPageCheckContainerFinish::OnShown() {
    // Once for each time the page appears, even if the user went back and on again before the first check began.
    if (std::exchange(due_, false)) RunCheck();
}

// The page's title says that the check is completed, and the report is to be copied whole.
void CWizPageCheckContainerFinish::ShowCompleted(bool completed) {
    ::ShowWindow(GetDlgItem(IDC_REPORT_TITLE), completed ? SW_SHOW : SW_HIDE);
    ::EnableWindow(GetDlgItem(IDC_REPORT_COPY), completed);
}

void CWizPageCheckContainerFinish::Clear() {
    list_.DeleteAllItems();
    rows_.clear();
}

void CWizPageCheckContainerFinish::RunCheck() {
    Clear();
    try {
        const ClientWindow client(m_hWnd);
        const CWaitCursor wait;
        const LongWork work(GetParent(), activity_);
        CheckContainer(state_.container.Get(), state_.keySet, *this);
    } catch (const CheckCancelled&) {
        GetParentSheet()->PressButton(PSBTN_CANCEL);  // a report without its end has no use
        return;
    } catch (...) {
        Verdict(kTextCheckFailed, kTextNone);  // out of memory
    }
    SizeColumns();
    list_.EnsureVisible(0);
    list_.Invalidate();  // the verdict has been painted as an ordinary row
    ShowCompleted(true);
}

// To their contents; the verdict in bold is wider than the list knows.
void CWizPageCheckContainerFinish::SizeColumns() {
    for (const int column : {0, 1}) {
        list_.SetColumnWidth(column, LVSCW_AUTOSIZE);
        if (rows_.empty()) continue;
        const std::wstring& text = column == 0 ? rows_.front().label : rows_.front().value;
        const int verdict = VerdictWidth(list_.m_hWnd, verdictFont_.get(), text);
        if (verdict > list_.GetColumnWidth(column)) list_.SetColumnWidth(column, verdict);
    }
}

void CWizPageCheckContainerFinish::Row(UINT label, UINT value) {
    Insert(Place::End, MarkOf(label, value), TextOf(label), TextOf(value));
}

void CWizPageCheckContainerFinish::Row(UINT label, std::wstring_view value) {
    Insert(Place::End, CheckMark::None, TextOf(label), VisibleText(value));
}

void CWizPageCheckContainerFinish::Failure(UINT label, DWORD error) {
    Insert(Place::End, MarkOf(label, kTextNone, true), TextOf(label), ErrorMessageText(error));
}

// The value begins with white space of the report's own, which the user sees as such.
void CWizPageCheckContainerFinish::Continuation(std::wstring_view value) {
    const std::size_t text = std::min(value.find_first_not_of(L" \t"), value.size());
    Insert(Place::End, CheckMark::None, kNoLabel,
           std::wstring(value.substr(0, text)) + VisibleText(value.substr(text)));
}

void CWizPageCheckContainerFinish::Continuation(UINT value) {
    Insert(Place::End, MarkOf(kTextNone, value), kNoLabel, TextOf(value));
}

void CWizPageCheckContainerFinish::Verdict(UINT label, UINT value) {
    Insert(Place::Top, MarkOf(label, value), TextOf(label), TextOf(value));
}

void CWizPageCheckContainerFinish::Insert(Place place, CheckMark mark, std::wstring label, std::wstring value) {
    const auto position = place == Place::Top ? rows_.begin() : rows_.end();
    const int item = list_.InsertItem(static_cast<int>(position - rows_.begin()), label);
    if (item < 0) return;
    if (!value.empty()) list_.SetItemText(item, 1, value);
    list_.SetStateImage(item, static_cast<UINT>(mark));
    rows_.insert(position, {std::move(label), std::move(value)});
    list_.EnsureVisible(item);
    // The verdict ends the check, which can't be cancelled any more.
    if (place == Place::End && activity_.work && !activity_.work->GoOn()) throw CheckCancelled();
}

LRESULT CWizPageCheckContainerFinish::OnDraw(const Message& message) {
    const auto& drawing = *reinterpret_cast<const NMLVCUSTOMDRAW*>(message.lParam);
    switch (drawing.nmcd.dwDrawStage) {
        case CDDS_PREPAINT: return CDRF_NOTIFYITEMDRAW;
        case CDDS_ITEMPREPAINT: {
            // The first row is the verdict once the check has ended.
            const bool verdict = drawing.nmcd.dwItemSpec == 0 && !activity_.work;
            SelectObject(drawing.nmcd.hdc, verdict ? verdictFont_.get() : TextFont(list_.m_hWnd));
            return CDRF_NEWFONT;
        }
        default: return CDRF_DODEFAULT;
    }
}

void CWizPageCheckContainerFinish::OnCopy() {
    CopyToClipboard(m_hWnd, ReportText(rows_));
}
