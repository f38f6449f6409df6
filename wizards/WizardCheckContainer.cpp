#include "wizards/WizardCheckContainer.h"

#include <algorithm>
#include <utility>

#include "csp/CryptProvContext.h"
#include "framework/Clipboard.h"
#include "framework/DataExchange.h"
#include "framework/Handles.h"
#include "framework/Module.h"
#include "framework/PropertySheet.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "wizards/WizardBase.h"

CWizPageCheckContainerSelectContainer::CWizPageCheckContainerSelectContainer(CheckContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHECK, .subtitle = IDS_SELECT_TO_CHECK}, state), state_(state) {}

bool CWizPageCheckContainerSelectContainer::OnContainerSelected() {
    return AcquireSelectedContainer(state_.container, 0);
}

HIMAGELIST CreateMarks() noexcept {
    constexpr UINT kIcons[] = {IDI_MARK_SUCCEEDED, IDI_MARK_FAILED, IDI_MARK_NOTE};
    const int width = GetSystemMetrics(SM_CXSMICON), height = GetSystemMetrics(SM_CYSMICON);
    const HIMAGELIST marks = ImageList_Create(width, height, ILC_COLOR32 | ILC_MASK, std::size(kIcons), 0);
    for (const UINT id : kIcons) {
        const UniqueIcon icon(static_cast<HICON>(
            LoadImageW(Module::Instance(), MAKEINTRESOURCEW(id), IMAGE_ICON, width, height, LR_DEFAULTCOLOR)));
        if (icon && ImageList_AddIcon(marks, icon.get()) >= 0) continue;
        // The icons behind a missing one would mark the wrong rows.
        ImageList_Destroy(marks);
        return nullptr;
    }
    return marks;
}

std::wstring ReportText(std::span<const ReportRow> rows) {
    constexpr size_t kLabelWidth = 30;
    std::wstring text;
    for (const ReportRow& row : rows) {
        text += row.label;
        text.append(kLabelWidth - std::min(kLabelWidth, row.label.size()), L' ');
        text += L" \t" + row.value + L"\r\n";
    }
    return text;
}

namespace {

HFONT TextFont(HWND list) noexcept {
    return reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0));
}

UniqueFont CreateBold(HWND list) noexcept {
    LOGFONTW font{};
    GetObjectW(TextFont(list), sizeof font, &font);
    font.lfWeight = FW_BOLD;
    return UniqueFont(CreateFontIndirectW(&font));
}

// The width that a column needs for the text in that font and a mark.
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
    // The first check sets the widths for its rows.
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
    Clear();  // remove the report on the container selected before
    due_ = true;
    return CWizardPageBase::OnSetActive();
}

// The check may be slow, so it runs after the page has been painted.
void CWizPageCheckContainerFinish::OnShown() {
    // Run once, even if the user went back and forward before the first check began.
    if (std::exchange(due_, false)) RunCheck();
}

// The page's title says that the check is completed. Only a complete report can be copied.
void CWizPageCheckContainerFinish::ShowCompleted(bool completed) {
    ::ShowWindow(GetDlgItem(IDC_REPORT_TITLE), completed ? SW_SHOW : SW_HIDE);
    EnableControl(IDC_REPORT_COPY, completed);
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
        GetParentSheet()->PressButton(PSBTN_CANCEL);  // an incomplete report is not shown
        return;
    } catch (...) {
        Verdict(IDS_CHECK_FAILED, 0);  // out of memory
    }
    SizeColumns();
    list_.EnsureVisible(0);
    list_.Invalidate();  // paint the verdict in bold
    ShowCompleted(true);
}

// Sets the widths for the contents. The list measures the verdict in the ordinary font, but it is painted in bold.
void CWizPageCheckContainerFinish::SizeColumns() {
    for (const int column : {0, 1}) {
        list_.SetColumnWidth(column, LVSCW_AUTOSIZE);
        if (rows_.empty()) continue;
        const std::wstring& text = column == 0 ? rows_.front().label : rows_.front().value;
        const int verdict = VerdictWidth(list_.m_hWnd, verdictFont_.get(), text);
        if (verdict > list_.GetColumnWidth(column)) list_.SetColumnWidth(column, verdict);
    }
}

void CWizPageCheckContainerFinish::Insert(Place place, CheckRow row) {
    const auto position = place == Place::Top ? rows_.begin() : rows_.end();
    const int item = list_.InsertItem(static_cast<int>(position - rows_.begin()), row.label);
    if (item < 0) return;
    if (!row.value.empty()) list_.SetItemText(item, 1, row.value);
    list_.SetStateImage(item, static_cast<UINT>(row.mark));
    rows_.insert(position, {std::move(row.label), std::move(row.value)});
    list_.EnsureVisible(item);
    // The verdict ends the check: it can't be cancelled any more.
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

CWizardCheckContainer::CWizardCheckContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHECK, IDB_WIZARD_WATERMARK) {
    AddPage(select_);
    AddPage(finish_);
}
