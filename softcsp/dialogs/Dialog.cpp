#include "softcsp/dialogs/Dialog.h"

#include <commctrl.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>

#include "softcsp/common/ResourceText.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/dialogs/resource.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // the linker's name for the start of the module

namespace softcsp {
namespace {

constexpr UINT_PTR kTimer = 1;
constexpr DWORD kDefaultTime = 600;  // seconds

// In exactly the language of the user interface: the system would choose another one. Empty if there is none.
ResourceBytes LoadResourceBytes(const wchar_t* type, UINT id) {
    const HINSTANCE module = OwnModule();
    const HRSRC found = FindResourceExW(module, type, MAKEINTRESOURCEW(id), static_cast<WORD>(Language::Get()));
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    if (loaded == nullptr) return {};
    return {static_cast<const std::uint8_t*>(LockResource(loaded)), SizeofResource(module, found)};
}

DWORD StoredSeconds(const wchar_t* name) {
    for (const wchar_t* section : {L"\\local\\KeyDevices\\", L"\\global\\KeyDevices\\"}) {
        StoreValue value;
        DWORD seconds = 0;
        if (Store().Find((section + std::wstring(name)).c_str(), value) == ERROR_SUCCESS &&
            value.data.Number(seconds) == ERROR_SUCCESS)
            return seconds;
    }
    return kDefaultTime;
}

// Message boxes only: windows of an input method are owned, too.
BOOL CALLBACK CloseOwnedBox(HWND window, LPARAM owner) {
    wchar_t name[8] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    if (GetWindow(window, GW_OWNER) == reinterpret_cast<HWND>(owner) && std::wstring_view(name) == L"#32770")
        PostMessageW(window, WM_CLOSE, 0, 0);
    return TRUE;
}

RECT PositionOf(HWND dialog, HWND control) {
    RECT position{};
    GetWindowRect(control, &position);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&position), 2);
    return position;
}

bool IsShown(HWND control) {
    return (GetWindowLongPtrW(control, GWL_STYLE) & WS_VISIBLE) != 0;  // the dialog itself is not visible yet
}

}  // namespace

HINSTANCE OwnModule() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

std::wstring OwnString(UINT id) {
    const auto text = StringOfBlock(LoadResourceBytes(RT_STRING, (id >> 4) + 1), id & 15);
    return text ? std::wstring(text->begin(), text->end()) : std::wstring();
}

DWORD DialogTime(const wchar_t* name) {
    const DWORD stored = StoredSeconds(name);
    if (stored == MAXDWORD) return kNoTimeLimit;
    const DWORD seconds = static_cast<LONG>(stored) < 1 ? 1 : stored;
    return std::min<DWORD>(seconds, USER_TIMER_MAXIMUM / 1000) * 1000;
}

DWORD Dialog::Run(HWND owner) {
    Language::Update();
    const auto* const dialog = reinterpret_cast<const DLGTEMPLATE*>(LoadResourceBytes(RT_DIALOG, template_).data());
    if (dialog == nullptr) return ERROR_RESOURCE_NAME_NOT_FOUND;
    constexpr INITCOMMONCONTROLSEX needed{sizeof needed, ICC_LISTVIEW_CLASSES | ICC_BAR_CLASSES};
    InitCommonControlsEx(&needed);
    SetLastError(ERROR_SUCCESS);
    const INT_PTR result =
        DialogBoxIndirectParamW(OwnModule(), dialog, IsWindow(owner) ? GetAncestor(owner, GA_ROOT) : GetActiveWindow(),
                                &Procedure, reinterpret_cast<LPARAM>(this));
    if (result == IDOK) return ERROR_SUCCESS;
    if (result == IDCANCEL) return failure_ != ERROR_SUCCESS ? failure_ : ERROR_CANCELLED;
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_INVALID_WINDOW_HANDLE;
}

INT_PTR CALLBACK Dialog::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, DWLP_USER, lParam);
        reinterpret_cast<Dialog*>(lParam)->window_ = window;
    }
    auto* const self = reinterpret_cast<Dialog*>(GetWindowLongPtrW(window, DWLP_USER));
    if (self == nullptr) return FALSE;  // a message before WM_INITDIALOG
    try {
        return self->Handle(message, wParam, lParam);
    } catch (const std::bad_alloc&) {
        self->failure_ = ERROR_NOT_ENOUGH_MEMORY;
    } catch (...) {
        self->failure_ = ERROR_INTERNAL_ERROR;
    }
    EndDialog(window, IDCANCEL);
    return TRUE;
}

INT_PTR Dialog::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_INITDIALOG: return Init(OnInit());
        case WM_COMMAND:
            if (LOWORD(wParam) == IDCANCEL || (LOWORD(wParam) == IDOK && OnOk())) {
                EndDialog(window_, LOWORD(wParam));
            } else if (LOWORD(wParam) != IDOK && HIWORD(wParam) == BN_CLICKED) {
                OnCommand(LOWORD(wParam));
            }
            return TRUE;
        case WM_NOTIFY: OnNotify(*reinterpret_cast<const NMHDR*>(lParam)); return TRUE;
        case WM_TIMER:
            if (wParam == kTimer) Expire();
            return TRUE;
        case WM_DESTROY: OnClosed(); return TRUE;
        default: return FALSE;
    }
}

INT_PTR Dialog::Init(HWND focus) {
    const DWORD time = time_ != nullptr ? DialogTime(time_) : kNoTimeLimit;
    if (time != kNoTimeLimit) SetTimer(window_, kTimer, time, nullptr);
    if (focus == nullptr) return TRUE;
    SetFocus(focus);
    return FALSE;
}

void Dialog::Expire() {
    KillTimer(window_, kTimer);
    expired_ = true;
    if (showsMessage_) {  // the box runs inside a handler of the dialog, so it is closed first
        EnumThreadWindows(GetCurrentThreadId(), &CloseOwnedBox, reinterpret_cast<LPARAM>(window_));
    } else {
        EndDialog(window_, IDCANCEL);
    }
}

int Dialog::ShowMessage(const std::wstring& text, UINT type) {
    wchar_t caption[128] = L"";
    GetWindowTextW(window_, caption, static_cast<int>(std::size(caption)));
    showsMessage_ = true;
    const int result = MessageBoxW(window_, text.c_str(), caption, type);
    showsMessage_ = false;
    if (expired_) EndDialog(window_, IDCANCEL);
    return result;
}

void Dialog::ShowWhole(UINT id, const std::wstring& text) const {
    SetWindowTextW(Item(id), text.c_str());
    const HWND tip = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_NOPREFIX | TTS_ALWAYSTIP,
                                     0, 0, 0, 0, window_, nullptr, OwnModule(), nullptr);  // destroyed with the dialog
    std::wstring shown = text;
    TOOLINFOW tool{};
    tool.cbSize = TTTOOLINFOW_V1_SIZE;  // the only size that older common controls accept
    tool.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
    tool.hwnd = window_;
    tool.uId = reinterpret_cast<UINT_PTR>(Item(id));
    tool.lpszText = shown.data();
    SendMessageW(tip, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&tool));
    RECT client{};
    GetClientRect(window_, &client);
    SendMessageW(tip, TTM_SETMAXTIPWIDTH, 0, client.right);  // longer texts are broken into lines
}

void Dialog::HideRow(std::initializer_list<UINT> ids) const {
    RECT row{0, LONG_MAX, 0, 0};
    for (const UINT id : ids) {
        const RECT position = PositionOf(window_, Item(id));
        row.top = std::min(row.top, position.top);
        row.bottom = std::max(row.bottom, position.bottom);
        ShowWindow(Item(id), SW_HIDE);
    }
    std::vector<HWND> beneath;
    LONG above = 0;  // bottom of the row above
    for (HWND control = GetWindow(window_, GW_CHILD); control != nullptr; control = GetWindow(control, GW_HWNDNEXT)) {
        const RECT position = PositionOf(window_, control);
        if (position.top >= row.bottom) beneath.push_back(control);
        if (position.bottom <= row.top && IsShown(control)) above = std::max(above, position.bottom);
    }
    const LONG height = row.bottom - above;
    for (HWND control : beneath) {
        const RECT position = PositionOf(window_, control);
        SetWindowPos(control, nullptr, position.left, position.top - height, 0, 0,
                     SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    }
    RECT whole{};
    GetWindowRect(window_, &whole);
    SetWindowPos(window_, nullptr, 0, 0, whole.right - whole.left, whole.bottom - whole.top - height,
                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
}

void ReportList::SetColumns(std::initializer_list<Column> columns) const {
    constexpr DWORD style = LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP;  // truncated texts are shown in a tool tip
    ListView_SetExtendedListViewStyleEx(list_, style, style);
    RECT client{};
    GetClientRect(list_, &client);
    int index = 0, rest = client.right;
    for (const Column& column : columns) {
        std::wstring title = OwnString(column.title);
        const bool last = index + 1 == static_cast<int>(columns.size());
        LVCOLUMNW added{};
        added.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
        added.pszText = title.data();
        added.cx = last ? rest : client.right * column.share / 100;
        added.iSubItem = index;
        ListView_InsertColumn(list_, index, &added);
        rest -= added.cx;
        ++index;
    }
}

void ReportList::Add(const std::vector<std::wstring>& row, LPARAM data) const {
    LVITEMW item{};
    item.mask = LVIF_PARAM;
    item.iItem = Count();
    item.lParam = data;
    item.iItem = ListView_InsertItem(list_, &item);
    item.mask = LVIF_TEXT;
    for (const std::wstring& text : row) {
        item.pszText = const_cast<wchar_t*>(text.c_str());  // only read
        ListView_SetItem(list_, &item);
        ++item.iSubItem;
    }
}

void ReportList::Clear() const {
    ListView_DeleteAllItems(list_);
}

int ReportList::Count() const {
    return ListView_GetItemCount(list_);
}

LPARAM ReportList::Selected() const {
    LVITEMW item{};
    item.mask = LVIF_PARAM;
    item.iItem = ListView_GetNextItem(list_, -1, LVNI_SELECTED);
    return item.iItem >= 0 && ListView_GetItem(list_, &item) ? item.lParam : kNone;
}

void ReportList::Select(LPARAM data) const {
    LVFINDINFOW wanted{};
    wanted.flags = LVFI_PARAM;
    wanted.lParam = data;
    const int row = ListView_FindItem(list_, -1, &wanted);
    if (row < 0) return;
    ListView_SetItemState(list_, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list_, row, FALSE);
}

HWND FactsDialog::OnInit() {
    const ReportList list(Item(IDC_LIST));
    list.SetColumns({{titles_.first, 35}, {titles_.second, 65}});
    for (const Row& row : rows_) list.Add({OwnString(row.first), OwnString(row.second)}, 0);
    return nullptr;
}

}  // namespace softcsp
