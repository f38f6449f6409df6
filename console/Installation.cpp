#include "console/Installation.h"

#include "applet/services/Strings.h"
#include "console/Describe.h"
#include "csp/CertificateText.h"
#include "resources/console.h"

bool ReplaceByOption::Replace() {
    if (replace_) return true;
    std::wstring question = LoadStringLang(IDS_REPLACE_QUESTION);
    for (std::size_t at; (at = question.find(L"\n\n")) != std::wstring::npos;) question.replace(at, 2, L" ");
    const Answer answer = session_.Ask(question);
    noTerminal_ = answer == Answer::NoTerminal;
    return answer == Answer::Yes;
}

Failure ReplaceByOption::Refusal(Failure added) const noexcept {
    return noTerminal_ && added.Is(ERROR_CANCELLED) ? Failure{static_cast<DWORD>(CRYPT_E_EXISTS)} : added;
}

Result<UniqueCertificateStore> OpenStoreToWrite(const std::wstring& name, KeySet keySet) {
    const bool personal = CompareStringOrdinal(name.c_str(), -1, kPersonalStore, -1, TRUE) == CSTR_EQUAL;
    const DWORD flags = StoreLocation(keySet) | (personal ? 0 : CERT_STORE_OPEN_EXISTING_FLAG);
    UniqueCertificateStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, flags, name.c_str()));
    if (!store) return LastFailure();
    return store;
}

ExitCode AddCertificate(HCERTSTORE store, const CERT_CONTEXT& certificate, bool replace, Session& session) {
    ReplaceByOption question(replace, session);
    const Result<> added = AddToStore(store, certificate, question);
    if (added) return ExitCode::Done;
    const Failure why = question.Refusal(added.Failed());
    session.GetOutput().Fail(IDS_ADD_FAILED, CertificateName(certificate, NameForm::Display), why);
    return IsCancellation(why) ? ExitCode::Cancelled : ExitCode::Failed;
}

Result<> AuthorityInstaller::Add(Authority authority, std::span<const BYTE> encoded) {
    if (authority == Authority::None) return {};
    const UniqueCertificate certificate(
        CertCreateCertificateContext(kCertificateEncoding, encoded.data(), static_cast<DWORD>(encoded.size())));
    if (!certificate) return LastFailure();
    if (authority == Authority::Intermediate) return AddTo(L"ca", intermediates_, *certificate.get());
    if (trustRoots_) return AddTo(L"root", roots_, *certificate.get());
    output_.Message(FormatStringId(IDS_ROOT_LEFT_OUT, CertificateName(*certificate.get(), NameForm::X500)));
    return {};
}

Result<> AuthorityInstaller::AddTo(const wchar_t* name, UniqueCertificateStore& store,
                                   const CERT_CONTEXT& certificate) {
    if (!store) store.reset(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, StoreLocation(keySet_), name));
    if (!store) return LastFailure();
    const Result<> added =
        Try(CertAddCertificateContextToStore(store.get(), &certificate, CERT_STORE_ADD_NEW, nullptr));
    if (!added) return added.Failed().Is(static_cast<DWORD>(CRYPT_E_EXISTS)) ? Result<>() : added;
    output_.Line(FormatStringId(IDS_INSTALLED, CertificateName(certificate, NameForm::X500), name));
    output_.Item(CertificateValue(certificate).Add(L"store", name));
    return {};
}
