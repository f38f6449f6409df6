#include "wizards/CertificateDialogs.h"

#include <windows.h>

#include <commctrl.h>
#include <commdlg.h>

#include <algorithm>
#include <cstring>

#include "applet/services/MessageBoxes.h"
#include "applet/services/Strings.h"
#include "csp/CertificateInstallation.h"
#include "csp/CryptoValues.h"
#include "framework/SystemLibrary.h"
#include "resources/resource.h"

namespace {

BOOL WINAPI Display(PCCERT_CONTEXT certificate, HWND dialog, void*) noexcept {
    ShowCertificate(dialog, *certificate);
    return TRUE;
}

}  // namespace

UniqueCertificate BrowseCertificates(HWND owner, HCERTSTORE store) {
    const SystemLibrary library(L"cryptui.dll", SystemLibrary::Stays::ForGood);
    const auto show = library.Function<SelectCertificate>("CryptUIDlgSelectCertificateW");
    if (!show) return {};
    SelectCertificateRequest request{};
    request.dwSize = sizeof request;
    request.hwndParent = owner;
    request.pDisplayCallback = reinterpret_cast<void*>(DisplayCertificate(&Display));
    request.cDisplayStores = 1;
    request.rghDisplayStores = &store;
    return UniqueCertificate(show(&request));
}

void ShowCertificate(HWND owner, const CERT_CONTEXT& certificate, HCERTSTORE chain) {
    const SystemLibrary library(L"cryptui.dll", SystemLibrary::Stays::ForGood);
    const auto show = library.Function<decltype(&CryptUIDlgViewCertificateW)>("CryptUIDlgViewCertificateW");
    if (!show) return;
    CRYPTUI_VIEWCERTIFICATE_STRUCTW request{};
    request.dwSize = sizeof request;
    request.hwndParent = owner;
    request.dwFlags = CRYPTUI_DISABLE_EDITPROPERTIES | CRYPTUI_DISABLE_ADDTOSTORE;
    request.pCertContext = &certificate;
    request.cStores = chain ? 1 : 0;
    request.rghStores = chain ? &chain : nullptr;
    BOOL changed = FALSE;  // always FALSE: editing is disabled
    show(&request, &changed);
}

namespace {

BOOL WINAPI HasProductKey(PCCERT_CONTEXT certificate, BOOL*, void*) noexcept {
    const char* algorithm = certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return std::strcmp(algorithm, "1.2.643.2.2.19") == 0 || std::strcmp(algorithm, "1.2.643.2.2.20") == 0;
}

}  // namespace

UniqueCertificate ChooseCertificate(HWND owner, bool machineToo) {
    const SystemLibrary library(L"cryptui.dll", SystemLibrary::Stays::ForGood);
    const auto show = library.Function<SelectCertificate>("CryptUIDlgSelectCertificateW");
    if (!show) return {};

    const UniqueCertificateStore user = OpenPersonalStore(KeySet::User).ValueOr({});
    const UniqueCertificateStore machine =
        machineToo ? OpenPersonalStore(KeySet::Computer).ValueOr({}) : UniqueCertificateStore();
    HCERTSTORE stores[2];
    DWORD count = 0;
    for (const UniqueCertificateStore* store : {&user, &machine}) {
        if (*store) stores[count++] = store->get();
    }
    const std::wstring title = LoadStringLang(machine ? IDS_CHOOSE_ANY_CERTIFICATE : IDS_CHOOSE_USER_CERTIFICATE);

    SelectCertificateRequest request{};
    request.dwSize = sizeof request;
    request.hwndParent = owner;
    request.szTitle = title.c_str();
    request.dwDontUseColumn = CRYPTUI_SELECT_LOCATION_COLUMN;
    request.pFilterCallback = &HasProductKey;
    request.cDisplayStores = count;
    request.rghDisplayStores = stores;
    return UniqueCertificate(show(&request));
}

namespace {

constexpr wchar_t kPersonal[] = L"MY";

// List writable stores only.
constexpr DWORD kSelectFlags = 9;

constexpr int kLongestLabel = 260;  // characters with the terminator

// The store's name in the user's language, which is set only for stores opened with a certain flag; otherwise empty.
std::wstring LocalizedName(HCERTSTORE store) {
    return ReadWideText([&](BYTE* data, DWORD* length) {
               return CertGetStoreProperty(store, CERT_STORE_LOCALIZED_NAME_PROP_ID, data, length);
           })
        .ValueOr({});
}

// Not every system sets the store's localized name. The system's translation of the store's system name is the second
// choice, the system name itself the third.
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

// Copies the label of the item that is selected in the dialog's tree: the chosen store's name in the user's language.
// The store has no localized name unless the dialog opened it with the flag for that.
BOOL WINAPI CopySelectedLabel(HCERTSTORE, HWND dialog, void* data) noexcept {
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
    request.pSelectedCallback = &CopySelectedLabel;
    request.pvCallbackData = label;
    UniqueCertificateStore store(show(&request));
    return Named(std::move(store), label);
}

namespace {

constexpr DWORD kFlags = OFN_READONLY | OFN_NOCHANGEDIR | OFN_EXTENSIONDIFFERENT | OFN_PATHMUSTEXIST |
                         OFN_FILEMUSTEXIST | OFN_LONGNAMES | OFN_ENABLESIZING;
static_assert(kFlags == 0x00A01C09);

}  // namespace

COpenCertFileDialog::COpenCertFileDialog()
    : CFileDialog(Kind::Open, LoadStringLang(IDS_CERTIFICATE_FILE_FILTER), kFlags) {}

namespace {

class Question final : public ReplaceQuestion {
  public:
    explicit Question(UINT icon) noexcept : icon_(icon) {}

    bool Replace() override {
        if (MessageBoxId(IDS_REPLACE_QUESTION, MB_YESNO | icon_) == IDYES) return true;
        MessageBoxId(IDS_INSTALL_CANCELLED, MB_ICONINFORMATION);
        return false;
    }

  private:
    UINT icon_;
};

}  // namespace

bool AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, UINT questionIcon) {
    Question question(questionIcon);
    const Result<> added = AddToStore(store, certificate, question);
    // A user who cancelled, in this question or in one of the system, needs no message.
    if (!added && !added.Failed().Is(ERROR_CANCELLED)) ErrorMessageBox(added.Failed().code);
    return static_cast<bool>(added);
}
