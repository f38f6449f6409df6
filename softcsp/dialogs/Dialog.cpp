#include "softcsp/dialogs/Dialog.h"

#include <commctrl.h>

#include <algorithm>
#include <string_view>

#include "softcsp/common/Store.h"
#include "softcsp/dialogs/resource.h"

namespace softcsp {
namespace {

constexpr UINT_PTR kTimer = 1;
constexpr DWORD kDefaultTime = 600;  // seconds

// Message boxes only: windows of an input method are owned, too.
BOOL CALLBACK CloseOwnedBox(HWND window, LPARAM owner) {
    wchar_t name[8] = L"";
    GetClassNameW(window, name, static_cast<int>(std::size(name)));
    if (GetWindow(window, GW_OWNER) == reinterpret_cast<HWND>(owner) && std::wstring_view(name) == L"#32770")
        PostMessageW(window, WM_CLOSE, 0, 0);
    return TRUE;
}

}  // namespace

DWORD DialogTime(const wchar_t* name) {
    DWORD seconds = kDefaultTime;
    for (const wchar_t* section : {L"\\global\\KeyDevices\\", L"\\local\\KeyDevices\\"})
        Store().ReadNumber(section + std::wstring(name), seconds);
    if (seconds == MAXDWORD) return kNoTimeLimit;
    if (static_cast<LONG>(seconds) < 1) seconds = 1;
    return std::min<DWORD>(seconds, USER_TIMER_MAXIMUM / 1000) * 1000;
}

DWORD Dialog::Run(HWND owner) {
    Language::Update();
    const auto* const dialog =
        reinterpret_cast<const DLGTEMPLATE*>(FindResourceBytes(OwnModule(), RT_DIALOG, template_).data());
    if (dialog == nullptr) return ERROR_RESOURCE_NAME_NOT_FOUND;
    constexpr INITCOMMONCONTROLSEX needed{sizeof needed, ICC_LISTVIEW_CLASSES};
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

DWORD Dialog::RunUntilClosed(HWND owner) {
    const DWORD result = Run(owner);
    return result == ERROR_CANCELLED ? ERROR_SUCCESS : result;
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
        case WM_INITDIALOG: return Init();
        case WM_COMMAND:
            if (LOWORD(wParam) == IDCANCEL || (LOWORD(wParam) == IDOK && onOk())) {
                EndDialog(window_, LOWORD(wParam));
            } else if (LOWORD(wParam) != IDOK && HIWORD(wParam) == BN_CLICKED) {
                onCommand(LOWORD(wParam));
            }
            return TRUE;
        case WM_NOTIFY: onNotify(*reinterpret_cast<const NMHDR*>(lParam)); return TRUE;
        case WM_TIMER:
            if (wParam == kTimer) Expire();
            return TRUE;
        case WM_DESTROY: onClosed(); return TRUE;
        default: return FALSE;
    }
}

INT_PTR Dialog::Init() {
    const UINT focus = onInit();
    const DWORD time = time_ != nullptr ? DialogTime(time_) : kNoTimeLimit;
    if (time != kNoTimeLimit) SetTimer(window_, kTimer, time, nullptr);
    if (focus != 0) SetFocus(Item(focus));
    return focus == 0;
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

void ReportList::SetColumns(std::initializer_list<Column> columns) const {
    constexpr DWORD style = LVS_EX_FULLROWSELECT | LVS_EX_LABELTIP;  // truncated texts are shown in a tool tip
    ListView_SetExtendedListViewStyleEx(list_, style, style);
    RECT client{};
    GetClientRect(list_, &client);
    int index = 0;
    for (const Column& column : columns) {
        std::wstring title = OwnString(column.title);
        LVCOLUMNW added{};
        added.mask = LVCF_TEXT | LVCF_WIDTH;
        added.pszText = title.data();
        added.cx = client.right * column.share / 100;
        ListView_InsertColumn(list_, index++, &added);
    }
}

void ReportList::SetRows(const std::vector<Row>& rows) const {
    ListView_DeleteAllItems(list_);
    LVITEMW item{};
    for (const Row& row : rows) {
        item.mask = 0;
        item.iSubItem = 0;
        ListView_InsertItem(list_, &item);
        item.mask = LVIF_TEXT;
        for (const std::wstring& text : row) {
            item.pszText = const_cast<wchar_t*>(text.c_str());  // only read
            ListView_SetItem(list_, &item);
            ++item.iSubItem;
        }
        ++item.iItem;
    }
}

int ReportList::Selected() const {
    return ListView_GetNextItem(list_, -1, LVNI_SELECTED);
}

void ReportList::Select(int row) const {
    ListView_SetItemState(list_, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list_, row, FALSE);
}

DWORD ShowFacts(HWND owner, UINT templateId, std::initializer_list<ReportList::Column> columns,
                std::initializer_list<std::initializer_list<UINT>> rows) {
    Dialog dialog(templateId);
    dialog.onInit = [&] {
        std::vector<ReportList::Row> texts;
        for (const auto& row : rows) {
            auto& added = texts.emplace_back();
            for (const UINT id : row) added.push_back(OwnString(id));
        }
        const ReportList list(dialog.Item(IDC_LIST));
        list.SetColumns(columns);
        list.SetRows(texts);
        return 0;
    };
    return dialog.RunUntilClosed(owner);
}

}  // namespace softcsp
