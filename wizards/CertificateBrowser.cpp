#include "wizards/CertificateBrowser.h"

#include "framework/SystemLibrary.h"
#include "wizards/CryptUi.h"

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
    BOOL changed = FALSE;  // nothing can be
    show(&request, &changed);
}
