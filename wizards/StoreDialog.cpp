#include "wizards/StoreDialog.h"

#include <commctrl.h>

#include <algorithm>
#include <cwchar>

#include "csp/Outcome.h"
#include "framework/SystemLibrary.h"
#include "wizards/CryptUi.h"

namespace {

constexpr wchar_t kPersonal[] = L"MY";

// What the dialog may be told: to list writable stores only, in the form that it has always had here.
constexpr DWORD kSelectFlags = 9;

constexpr int kLongestLabel = 260;  // characters with the terminator

// The name in the user's language that the store was opened with; empty when it has none.
std::wstring LocalizedName(HCERTSTORE store) {
    const BytesOutcome name = AskLengthFirst([&](BYTE* data, DWORD* length) {
        return CertGetStoreProperty(store, CERT_STORE_LOCALIZED_NAME_PROP_ID, data, length);
    });
    if (!name.done) return {};
    const auto* text = reinterpret_cast<const wchar_t*>(name.bytes.data());
    return {text, wcsnlen(text, name.bytes.size() / sizeof(wchar_t))};
}

// Not every system gives stores the property; the name by which the system calls the store is known to all.
std::wstring NameOf(HCERTSTORE store, const std::wstring& systemName) {
    std::wstring name = LocalizedName(store);
    if (!name.empty() || systemName.empty()) return name;
    const wchar_t* localized = CryptFindLocalizedName(systemName.c_str());
    return localized ? localized : systemName;
}

NamedStore Named(UniqueCertificateStore store, const std::wstring& systemName) {
    if (!store) return {};
    std::wstring name = NameOf(store.get(), systemName);
    if (name.empty()) return {};
    return {std::move(store), std::move(name)};
}

// What is selected in the dialog's tree: the chosen store by the name that the user knows. The store's own property
// with this name is there only where the store was opened with a flag that the dialog may not have given.
BOOL WINAPI NoteLabel(HCERTSTORE, HWND dialog, void* data) noexcept {
    const HWND tree = FindWindowExW(dialog, nullptr, WC_TREEVIEWW, nullptr);
    wchar_t label[kLongestLabel] = L"";
    TVITEMW item{};
    item.mask = TVIF_TEXT;
    item.hItem = TreeView_GetSelection(tree);
    item.pszText = label;
    item.cchTextMax = kLongestLabel;
    if (SendMessageW(tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item)) && item.pszText == label)
        lstrcpynW(static_cast<wchar_t*>(data), label, kLongestLabel);
    return TRUE;
}

}  // namespace

NamedStore PersonalStore(KeySet keySet) {
    return Named(
        UniqueCertificateStore(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0,
                                             StoreLocation(keySet) | CERT_STORE_SET_LOCALIZED_NAME_FLAG, kPersonal)),
        kPersonal);
}

NamedStore ChooseStore(HWND owner, KeySet keySet) {
    const SystemLibrary library(L"cryptui.dll", SystemLibrary::Stays::ForGood);
    const auto show = library.Function<SelectStore>("CryptUIDlgSelectStoreW");
    if (!show) return {};
    const SystemStoreEnumeration enumeration{StoreLocation(keySet), nullptr};
    const SelectStoreSources sources{0, nullptr, 1, &enumeration};
    wchar_t label[kLongestLabel] = L"";
    SelectStoreRequest request{};
    request.dwSize = sizeof request;
    request.hwndParent = owner;
    request.dwFlags = kSelectFlags;
    request.pSources = &sources;
    request.pSelectedCallback = &NoteLabel;
    request.pvCallbackData = label;
    UniqueCertificateStore store(show(&request));
    return Named(std::move(store), label);
}
