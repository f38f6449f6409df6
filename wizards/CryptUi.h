// The requests of the system's certificate dialogs that the compiler's headers lack, as they are documented.
#pragma once

#include <windows.h>

#include <prsht.h>
#include <wincrypt.h>
// The next needs those above.
#include <cryptuiapi.h>

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
