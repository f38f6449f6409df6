#include "wizards/CertificateDialog.h"

#include <cstring>

#include "applet/services/Strings.h"
#include "framework/SystemLibrary.h"
#include "resources/resource.h"
#include "wizards/CryptUi.h"

namespace {

BOOL WINAPI HasProductKey(PCCERT_CONTEXT certificate, BOOL*, void*) noexcept {
    const char* algorithm = certificate->pCertInfo->SubjectPublicKeyInfo.Algorithm.pszObjId;
    return std::strcmp(algorithm, "1.2.643.2.2.19") == 0 || std::strcmp(algorithm, "1.2.643.2.2.20") == 0;
}

UniqueCertificateStore OpenMyStore(DWORD location) {
    return UniqueCertificateStore(
        CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location | CERT_STORE_OPEN_EXISTING_FLAG, L"My"));
}

}  // namespace

UniqueCertificate ChooseCertificate(HWND owner, bool machineToo) {
    const SystemLibrary library(L"cryptui.dll", SystemLibrary::Stays::ForGood);
    const auto show = library.Function<SelectCertificate>("CryptUIDlgSelectCertificateW");
    if (!show) return {};

    const UniqueCertificateStore user = OpenMyStore(CERT_SYSTEM_STORE_CURRENT_USER);
    const UniqueCertificateStore machine =
        machineToo ? OpenMyStore(CERT_SYSTEM_STORE_LOCAL_MACHINE) : UniqueCertificateStore();
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
