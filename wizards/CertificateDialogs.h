// The place of a certificate in a store, with what the user is asked and told of it.
#pragma once

#include <windows.h>

#include <prsht.h>
#include <wincrypt.h>
#include <cryptuiapi.h>

#include <string>

#include "csp/CryptProvContext.h"
#include "framework/FileDialog.h"
#include "framework/Handles.h"

// The requests of the system's certificate dialogs that the compiler's headers lack, as they are documented.

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

// What its View button calls, when there is one: TRUE when it has shown the certificate.
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

// Told of the store that was chosen; TRUE lets the dialog close.
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

// The system's dialogs over certificates that a wizard has at hand.

// Lets the user choose from a store. Nothing when the user cancels, or when the dialog can't be had.
UniqueCertificate BrowseCertificates(HWND owner, HCERTSTORE store);

// Shows a certificate, to look at only. `chain` may be none; authorities above the certificate are looked for there
// too.
void ShowCertificate(HWND owner, const CERT_CONTEXT& certificate, HCERTSTORE chain = nullptr);

// The system's dialog in which the user chooses a certificate, for certificates with the product's keys.

// Lets the user choose from the "My" store of the current user, and of the local machine too when `machineToo`. Stores
// that can't be opened are left out. Nothing when the user cancels, or when the dialog can't be had.
UniqueCertificate ChooseCertificate(HWND owner, bool machineToo);

// The certificate stores that a certificate can be installed into, and their names.

struct NamedStore {
    UniqueCertificateStore store;  // none: it can't be opened or named, or the user chose none
    std::wstring name;             // as people know it; empty without a store
};

// The personal store of the user or the computer.
NamedStore PersonalStore(KeySet keySet);

// Lets the user choose one of the stores of the user or the computer.
NamedStore ChooseStore(HWND owner, KeySet keySet);

// COpenCertFileDialog: the system's dialog in which the user chooses a certificate file.

class COpenCertFileDialog : public CFileDialog {
  public:
    COpenCertFileDialog();
};

// Adds the certificate with its link to the private key. `questionIcon` (MB_ICON…) goes with the question whether one
// that is there already is to be replaced. False when it wasn't added; the user has been told.
bool AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, UINT questionIcon);
