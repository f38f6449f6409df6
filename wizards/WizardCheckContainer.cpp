#include "wizards/WizardCheckContainer.h"

#include <algorithm>
#include <utility>

#include "applet/services/ErrorText.h"
#include "applet/services/Strings.h"
#include "csp/CheckTexts.h"
#include "csp/CryptProvContext.h"
#include "framework/Clipboard.h"
#include "framework/DataExchange.h"
#include "framework/Handles.h"
#include "framework/Module.h"
#include "framework/PropertySheet.h"
#include "framework/Text.h"
#include "framework/Wnd.h"
#include "resources/resource.h"
#include "wizards/WizardBase.h"

// The check names its texts by their numbers alone; this compares them with the string table's ids.

static_assert(kTextName == IDS_CHECK_NAME);
static_assert(kTextUniqueName == IDS_CHECK_UNIQUE_NAME);
static_assert(kTextCheckSucceeded == IDS_CHECK_SUCCEEDED);
static_assert(kTextCheckFailed == IDS_CHECK_FAILED);
static_assert(kTextOtherKey == IDS_CHECK_OTHER_KEY);
static_assert(kTextMatchesKey == IDS_CHECK_MATCHES_KEY);
static_assert(kTextKeyExport == IDS_CHECK_KEY_EXPORT);
static_assert(kTextAllowed == IDS_CHECK_ALLOWED);
static_assert(kTextDisallowed == IDS_CHECK_DISALLOWED);
static_assert(kTextCritical == IDS_CHECK_CRITICAL);
static_assert(kTextNoncritical == IDS_CHECK_NONCRITICAL);
static_assert(kTextExtensions == IDS_CHECK_EXTENSIONS);
static_assert(kTextNoErrors == IDS_CHECK_NO_ERRORS);
static_assert(kTextAlgorithm == IDS_CHECK_ALGORITHM);
static_assert(kTextQualifiedName == IDS_CHECK_QUALIFIED_NAME);
static_assert(kTextKeysLoading == IDS_CHECK_KEYS_LOADING);
static_assert(kTextSucceed == IDS_CHECK_SUCCEED);
static_assert(kTextPublicKeyExport == IDS_CHECK_PUBLIC_KEY_EXPORT);
static_assert(kTextPublicKeyImport == IDS_CHECK_PUBLIC_KEY_IMPORT);
static_assert(kTextSigning == IDS_CHECK_SIGNING);
static_assert(kTextVerifying == IDS_CHECK_VERIFYING);
static_assert(kTextAgreement == IDS_CHECK_AGREEMENT);
static_assert(kTextExpired == IDS_CHECK_EXPIRED);
static_assert(kTextUsagePeriod == IDS_CHECK_USAGE_PERIOD);
static_assert(kTextCertificateInContainer == IDS_CHECK_CERTIFICATE_IN_CONTAINER);
static_assert(kTextExchangeKey == IDS_CHECK_EXCHANGE_KEY);
static_assert(kTextSignatureKey == IDS_CHECK_SIGNATURE_KEY);
static_assert(kTextAvailable == IDS_CHECK_AVAILABLE);
static_assert(kTextNotAvailable == IDS_CHECK_NOT_AVAILABLE);
static_assert(kTextIntegrity == IDS_CHECK_INTEGRITY);
static_assert(kTextCorrupted == IDS_CHECK_CORRUPTED);
static_assert(kTextUnknownCorruption == IDS_CHECK_UNKNOWN_CORRUPTION);
static_assert(kTextCertificateInStore == IDS_CHECK_CERTIFICATE_IN_STORE);
static_assert(kTextNoKeyLink == IDS_CHECK_NO_KEY_LINK);
static_assert(kTextNotInstalled == IDS_CHECK_NOT_INSTALLED);
static_assert(kTextCertificateName == IDS_CERTIFICATE_NAME);
static_assert(kTextSubject == IDS_CERTIFICATE_SUBJECT);
static_assert(kTextIssuer == IDS_CERTIFICATE_ISSUER);
static_assert(kTextValidFrom == IDS_CERTIFICATE_VALID_FROM);
static_assert(kTextValidTo == IDS_CERTIFICATE_VALID_TO);
static_assert(kTextSerialNumber == IDS_CERTIFICATE_SERIAL_NUMBER);
static_assert(kTextContainer == IDS_CONTAINER);
static_assert(kTextKeyValidFrom == IDS_CERTIFICATE_KEY_FROM);
static_assert(kTextKeyValidTo == IDS_CERTIFICATE_KEY_TO);

CheckMark MarkOf(UINT label, UINT value, bool error) noexcept {
    if (label == kTextCheckSucceeded) return CheckMark::Succeeded;
    if (label == kTextCheckFailed) return CheckMark::Failed;
    // Stores that can't be listed are no fault of the container.
    if (error) return label == kTextCertificateInStore ? CheckMark::Note : CheckMark::Failed;
    switch (value) {
        case kTextCorrupted:
        case kTextUnknownCorruption:
        case kTextOtherKey:
        case kTextExpired: return CheckMark::Failed;
        case kTextNotAvailable:
        case kTextNotInstalled:
        case kTextNoKeyLink: return CheckMark::Note;
        default: return CheckMark::None;
    }
}

HIMAGELIST CreateMarks() noexcept {
    constexpr UINT kIcons[] = {IDI_MARK_SUCCEEDED, IDI_MARK_FAILED, IDI_MARK_NOTE};
    const int width = GetSystemMetrics(SM_CXSMICON), height = GetSystemMetrics(SM_CYSMICON);
    const HIMAGELIST marks = ImageList_Create(width, height, ILC_COLOR32 | ILC_MASK, std::size(kIcons), 0);
    for (const UINT id : kIcons) {
        const UniqueIcon icon(static_cast<HICON>(
            LoadImageW(Module::Instance(), MAKEINTRESOURCEW(id), IMAGE_ICON, width, height, LR_DEFAULTCOLOR)));
        ImageList_AddIcon(marks, icon.get());
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

CWizPageCheckContainerSelectContainer::CWizPageCheckContainerSelectContainer(CheckContainerState& state)
    : CWizPageSelectContainer({.caption = IDS_WIZARD_CHECK, .subtitle = IDS_SELECT_TO_CHECK}, state), state_(state) {}

LRESULT CWizPageCheckContainerSelectContainer::OnWizardNext() {
    if (const LRESULT stay = CWizPageSelectContainer::OnWizardNext()) return stay;
    const ClientWindow client(m_hWnd);
    return AcquireSelectedContainer(state_.container, 0) ? 0 : -1;
}

CWizardCheckContainer::CWizardCheckContainer(HWND parent)
    : CPropertySheetWizardBase(parent, IDS_WIZARD_CHECK, IDB_WIZARD_WATERMARK) {
    AddPage(select_);
    AddPage(finish_);
}
