// The system's dialogs for certificates, stores and certificate files, and the installation of a certificate into a
// store.
#pragma once

#include <windows.h>

#include <prsht.h>
#include <wincrypt.h>
#include <cryptuiapi.h>

#include <string>

#include "csp/CryptProvContext.h"
#include "framework/FileDialog.h"
#include "framework/Handles.h"

// The structures of the system's certificate dialogs that the compiler's headers lack, as documented by Microsoft.

struct SelectCertificateRequest {
    DWORD dwSize;
    HWND hwndParent;
    DWORD dwFlags;
    LPCWSTR szTitle;
    DWORD dwDontUseColumn;
    LPCWSTR szDisplayString;
    PFNCFILTERPROC pFilterCallback;
    void* pDisplayCallback;
    void* pvCallbackData;
    DWORD cDisplayStores;
    const HCERTSTORE* rghDisplayStores;
    DWORD cStores;
    const HCERTSTORE* rghStores;
    DWORD cPropSheetPages;
    LPCPROPSHEETPAGEW rgPropSheetPages;
    HCERTSTORE hSelectedCertStore;
};
static_assert(sizeof(SelectCertificateRequest) == 128);

// CryptUIDlgSelectCertificateW of cryptui.dll.
using SelectCertificate = PCCERT_CONTEXT(WINAPI*)(const SelectCertificateRequest*);

// The callback of the dialog's View button. TRUE when it has shown the certificate.
using DisplayCertificate = BOOL(WINAPI*)(PCCERT_CONTEXT, HWND dialog, void* data);

struct SystemStoreEnumeration {
    DWORD dwFlags;  // CERT_SYSTEM_STORE_…
    void* pvSystemStoreLocationPara;
};

struct SelectStoreSources {
    DWORD cStores;
    const HCERTSTORE* rghStores;
    DWORD cEnumerations;
    const SystemStoreEnumeration* rgEnumerations;
};

// Called with the chosen store. TRUE closes the dialog.
using SelectedStore = BOOL(WINAPI*)(HCERTSTORE, HWND dialog, void* data);

struct SelectStoreRequest {
    DWORD dwSize;
    HWND hwndParent;
    DWORD dwFlags;
    LPCWSTR szTitle;
    LPCWSTR szDisplayString;
    const SelectStoreSources* pSources;
    SelectedStore pSelectedCallback;
    void* pvCallbackData;
};
static_assert(sizeof(SelectStoreRequest) == 64);

// CryptUIDlgSelectStoreW of cryptui.dll.
using SelectStore = HCERTSTORE(WINAPI*)(const SelectStoreRequest*);

// Lets the user choose a certificate from a store. Empty when the user cancels, or when the dialog isn't available.
UniqueCertificate BrowseCertificates(HWND owner, HCERTSTORE store);

// Shows a certificate, without the means to change or install it. The certificates of its authorities are searched for
// in `chain`, too, unless it is nullptr.
void ShowCertificate(HWND owner, const CERT_CONTEXT& certificate, HCERTSTORE chain = nullptr);

// Lets the user choose a certificate with a key of the product from the "My" store of the current user, and from that
// of the local machine if `machineToo`. Stores that can't be opened are skipped. Empty when the user cancels, or when
// the dialog isn't available.
UniqueCertificate ChooseCertificate(HWND owner, bool machineToo);

// A store that a certificate can be installed into.
struct NamedStore {
    UniqueCertificateStore store;  // empty: it can't be opened or has no name, or the user chose none
    std::wstring name;             // in the user's language; empty without a store
};

// The personal store of the user or the computer.
NamedStore PersonalStore(KeySet keySet);

// Lets the user choose one of the stores of the user or the computer.
NamedStore ChooseStore(HWND owner, KeySet keySet);

// The system's dialog in which the user chooses a certificate file.
class COpenCertFileDialog : public CFileDialog {
  public:
    COpenCertFileDialog();
};

// Adds the certificate with its link to the private key, after a question if the store already holds it. `questionIcon`
// (MB_ICON…) is the icon of the question. False when the certificate wasn't added; a message has been shown.
bool AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, UINT questionIcon);
