#include "pages/PropPageConfigCSPAdvanced.h"

#include <shlwapi.h>

#include "applet/services/Strings.h"
#include "framework/Clipboard.h"
#include "framework/DataExchange.h"
#include "framework/SystemLibrary.h"
#include "framework/Wnd.h"
#include "pages/DialogSetTimeout.h"
#include "resources/resource.h"
#include "settings/FileVersions.h"

namespace {

constexpr DWORD kFirstWithArrows = 6;  // the common controls that draw arrows themselves

// Major version of the common controls in use here; 0 when it cannot be queried.
DWORD ControlsVersion() noexcept {
    const HMODULE library = GetModuleHandleW(L"comctl32.dll");
    const auto get =
        library ? reinterpret_cast<DLLGETVERSIONPROC>(reinterpret_cast<void*>(GetProcAddress(library, "DllGetVersion")))
                : nullptr;
    DLLVERSIONINFO version{};
    version.cbSize = sizeof version;
    return get && SUCCEEDED(get(&version)) ? version.dwMajorVersion : 0;
}

HBITMAP LoadArrow(const UniqueModule& shell, WORD id) noexcept {
    if (!shell) return nullptr;
    return static_cast<HBITMAP>(LoadImageW(shell.get(), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION));
}

void SetItem(HWND header, int column, HDITEMW& item) noexcept {
    SendMessageW(header, HDM_SETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&item));
}

}  // namespace

void SortArrow::Attach(HWND header) noexcept {
    header_ = header;
    column_ = -1;
    if (ControlsVersion() >= kFirstWithArrows) return;
    // The shell's own arrows.
    constexpr WORD kUp = 133, kDown = 134;
    const UniqueModule shell(LoadSystemLibrary(L"shell32.dll"));
    up_.reset(LoadArrow(shell, kUp));
    down_.reset(LoadArrow(shell, kDown));
}

void SortArrow::Show(int column, bool descending) noexcept {
    if (column_ >= 0) SetItem(header_, column_, before_);
    column_ = column;
    before_ = {};
    before_.mask = HDI_FORMAT | HDI_BITMAP;
    SendMessageW(header_, HDM_GETITEMW, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(&before_));
    HDITEMW item = before_;
    if (const UniqueBitmap& arrow = descending ? down_ : up_) {
        item.fmt |= HDF_BITMAP | HDF_BITMAP_ON_RIGHT;
        item.hbm = arrow.get();
    } else {
        item.fmt |= descending ? HDF_SORTDOWN : HDF_SORTUP;
    }
    SetItem(header_, column, item);
}

namespace {

struct Column {
    UINT heading;
    std::wstring FileVersion::*text;
};

// In the order of VersionColumn.
constexpr Column kColumns[] = {{IDS_COLUMN_NAME, &FileVersion::name},
                               {IDS_COLUMN_VERSION, &FileVersion::version},
                               {IDS_COLUMN_TYPE, &FileVersion::type},
                               {IDS_COLUMN_PATH, &FileVersion::path}};
constexpr int kColumnCount = static_cast<int>(std::size(kColumns));

struct Order {
    VersionColumn column;
    bool descending;
};

int CALLBACK CompareItems(LPARAM left, LPARAM right, LPARAM argument) {
    const auto& order = *reinterpret_cast<const Order*>(argument);
    return CompareFileVersions(*reinterpret_cast<const FileVersion*>(left),
                               *reinterpret_cast<const FileVersion*>(right), order.column, order.descending);
}

}  // namespace

CPropPageConfigCSPAdvanced::CPropPageConfigCSPAdvanced() : CPropPageConfigBase(IDD_ADVANCED) {}

std::span<const Route> CPropPageConfigCSPAdvanced::Routes() const {
    static constexpr Route table[] = {
        onNotify<&CPropPageConfigCSPAdvanced::OnColumnClicked>(IDC_ADVANCED_VERSIONS, LVN_COLUMNCLICK),
        on<&CPropPageConfigCSPAdvanced::OnCopy>(IDC_ADVANCED_COPY, BN_CLICKED),
        on<&CPropPageConfigCSPAdvanced::OnSetTimeout>(IDC_ADVANCED_SET_TIMEOUT, BN_CLICKED),
    };
    return table;
}

void CPropPageConfigCSPAdvanced::DoDataExchange(CDataExchange* exchange) {
    DDX_Control(exchange, IDC_ADVANCED_VERSIONS, list_);
}

bool CPropPageConfigCSPAdvanced::OnInitDialog() {
    const CWaitCursor wait;
    CPropPageConfigBase::OnInitDialog();
    list_.SetExtendedStyle(LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP);
    InsertColumns();
    InsertFiles();
    arrow_.Attach(list_.GetHeader());
    Sort();
    for (int column = 0; column < kColumnCount; ++column) SizeColumn(column);
    return true;
}

// Fits the column to its content, or to its heading if that is wider. LVSCW_AUTOSIZE_USEHEADER would make the last
// column fill the list, so the last column is only fitted to its content.
void CPropPageConfigCSPAdvanced::SizeColumn(int column) {
    list_.SetColumnWidth(column, LVSCW_AUTOSIZE);
    const int content = list_.GetColumnWidth(column);
    list_.SetColumnWidth(column, LVSCW_AUTOSIZE_USEHEADER);
    if (column == kColumnCount - 1 || list_.GetColumnWidth(column) < content) list_.SetColumnWidth(column, content);
}

void CPropPageConfigCSPAdvanced::InsertColumns() {
    RECT area{};
    GetClientRect(list_.m_hWnd, &area);
    for (int column = 0; column < kColumnCount; ++column) {
        list_.InsertColumn(column, LoadStringLang(kColumns[column].heading), area.right / kColumnCount);
    }
}

void CPropPageConfigCSPAdvanced::InsertFiles() {
    files_ = ReadFileVersions(ListedFiles());
    for (const FileVersion& file : files_) {
        const int item = list_.InsertItem(list_.GetItemCount(), file.name);
        if (item < 0) continue;
        list_.SetItemData(item, reinterpret_cast<LPARAM>(&file));
        for (int column = 1; column < kColumnCount; ++column) {
            list_.SetItemText(item, column, file.*kColumns[column].text);
        }
    }
}

void CPropPageConfigCSPAdvanced::PostNcDestroy() {
    files_.clear();
}

void CPropPageConfigCSPAdvanced::OnColumnClicked(const Message& message) {
    const auto column = static_cast<VersionColumn>(reinterpret_cast<const NMLISTVIEW*>(message.lParam)->iSubItem);
    descending_ = column == column_ && !descending_;
    column_ = column;
    Sort();
}

void CPropPageConfigCSPAdvanced::Sort() {
    const Order order{column_, descending_};
    list_.SortItems(&CompareItems, reinterpret_cast<LPARAM>(&order));
    arrow_.Show(static_cast<int>(column_), descending_);
}

// Copies the rows in their current order.
void CPropPageConfigCSPAdvanced::OnCopy() {
    std::vector<const FileVersion*> files;
    files.reserve(files_.size());
    for (int item = 0; item < list_.GetItemCount(); ++item) {
        files.push_back(reinterpret_cast<const FileVersion*>(list_.GetItemData(item)));
    }
    CopyToClipboard(m_hWnd, FileVersionsText(files));
}

void CPropPageConfigCSPAdvanced::OnSetTimeout() {
    CDialogSetTimeout().DoModal(m_hWnd);
}
