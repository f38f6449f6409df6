// vestractl certificates
#include <algorithm>
#include <utility>
#include <vector>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "console/Files.h"
#include "console/Installation.h"
#include "csp/CertificateText.h"
#include "csp/ContainerCertificates.h"
#include "csp/KeyLink.h"
#include "framework/Text.h"
#include "resources/console.h"

namespace {

// What is wrong with the certificates of the keys: lines for people, names for programs.
class Problems final : public ContainerProblems {
  public:
    Problems(std::wstring container, Output& output) : container_(std::move(container)), output_(output) {}

    void Report(ContainerProblem problem) override {
        static constexpr struct {
            ContainerProblem problem;
            UINT text;
            const wchar_t* name;
        } kProblems[] = {
            {ContainerProblem::NoKeys, IDS_NO_KEYS, L"noKeys"},
            {ContainerProblem::NoSignatureCertificate, IDS_NO_SIGNATURE_CERTIFICATE, L"noSignatureCertificate"},
            {ContainerProblem::NoExchangeCertificate, IDS_NO_EXCHANGE_CERTIFICATE, L"noExchangeCertificate"},
            {ContainerProblem::OtherSignatureKey, IDS_OTHER_SIGNATURE_KEY, L"otherSignatureKey"},
            {ContainerProblem::OtherExchangeKey, IDS_OTHER_EXCHANGE_KEY, L"otherExchangeKey"},
            {ContainerProblem::NoParameters, IDS_NO_PARAMETERS, L"noParameters"},
            {ContainerProblem::NoLink, IDS_LINK_FAILED, L"noLink"},
            {ContainerProblem::NoCertificates, IDS_NO_CERTIFICATES, L"noCertificates"},
        };
        for (const auto& known : kProblems)
            if (known.problem == problem) {
                output_.Message(FormatStringId(known.text, container_));
                names_.Append(known.name);
            }
    }

    bool Any() const { return !names_.IsNull(); }
    const Value& Names() const { return names_; }

  private:
    std::wstring container_;
    Output& output_;
    Value names_;
};

struct NamedCertificate {
    const wchar_t* kind;  // "exchange", "signature" or "authority"
    UniqueCertificate certificate;
};

void AppendAll(HCERTSTORE store, bool authorities, std::vector<NamedCertificate>& certificates) {
    UniqueCertificate certificate;
    const auto next = [&] { return CertEnumCertificatesInStore(store, certificate.release()); };
    for (certificate.reset(next()); certificate; certificate.reset(next())) {
        const auto link = ReadKeyLink(*certificate.get());
        const wchar_t* kind = authorities || !link ? L"authority" : KeyName(link->keySpec);
        certificates.push_back({kind, UniqueCertificate(CertDuplicateCertificateContext(certificate.get()))});
    }
}

class Certificates final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Argument(IDS_VALUE_NAME, IDS_ARGUMENT_NAME, name_);
        selection_.DeclareOwners(parameters);
        parameters.Option("--save", IDS_VALUE_DIRECTORY, IDS_OPTION_SAVE, directory_);
        parameters.Flag("--overwrite", IDS_OPTION_OVERWRITE, overwrite_);
        parameters.Flag("--install", IDS_OPTION_INSTALL, install_);
        parameters.Flag("--trust-roots", IDS_OPTION_TRUST_ROOTS, trustRoots_);
        parameters.Flag("--replace", IDS_OPTION_REPLACE, replace_);
    }

    std::wstring WrongUsage() const override {
        if (overwrite_ && !directory_) return FormatStringId(IDS_USAGE_REQUIRES, L"--overwrite", L"--save");
        if (trustRoots_ && !install_) return FormatStringId(IDS_USAGE_REQUIRES, L"--trust-roots", L"--install");
        if (replace_ && !install_) return FormatStringId(IDS_USAGE_REQUIRES, L"--replace", L"--install");
        return {};
    }

    ExitCode Run(Session& session) override {
        selection_.names = {name_};
        ExitCode code = ExitCode::Done;
        const ExitCode found = VisitContainers(selection_, session, [&](const FoundContainer& container) {
            code = RunOn(container, session);
            return true;
        });
        return std::max(found, code);
    }

  private:
    ExitCode RunOn(const FoundContainer& container, Session& session) {
        Output& output = session.GetOutput();
        output.Member(L"container", PlaceValue(container.place));
        if (!container.opened) {
            output.Fail(IDS_OPEN_FAILED, container.place.name, container.opened.Failed());
            return ExitCode::Failed;
        }
        Problems problems(container.place.name, output);
        const KeyCertificates keys = ReadKeyCertificates(container.context.Get(), container.place.keySet, problems);
        ExitCode code = problems.Any() ? ExitCode::Found : ExitCode::Done;
        const std::vector<NamedCertificate> all = ReadAll(container, keys, output, code);
        Show(all, output);
        if (problems.Any()) output.Member(L"problems", problems.Names());
        if (directory_) code = std::max(code, Save(all, output));
        if (install_) code = std::max(code, Install(container, keys, session));
        return code;
    }

    static std::vector<NamedCertificate> ReadAll(const FoundContainer& container, const KeyCertificates& keys,
                                                 Output& output, ExitCode& code) {
        std::vector<NamedCertificate> all;
        if (keys.store) AppendAll(keys.store.get(), false, all);
        UniqueCertificateStore authorities;
        if (const Result<> read = ReadExtensionCertificates(container.context.Get(), authorities); !read) {
            output.Fail(IDS_EXTENSIONS_FAILED, container.place.name, read.Failed());
            code = ExitCode::Failed;
        }
        if (authorities) AppendAll(authorities.get(), true, all);
        return all;
    }

    static void Show(const std::vector<NamedCertificate>& all, Output& output) {
        output.BeginItems(L"certificates");
        for (const NamedCertificate& one : all) {
            output.Item(CertificateValue(*one.certificate.get()).Add(L"kind", one.kind));
            if (!output.IsJson()) ShowCertificate(one, output);
        }
    }

    static void ShowCertificate(const NamedCertificate& one, Output& output) {
        const CERT_CONTEXT& certificate = *one.certificate.get();
        const std::wstring_view kind = one.kind;
        output.Line(LoadStringLang(kind == L"exchange"    ? IDS_CERTIFICATE_OF_EXCHANGE
                                   : kind == L"signature" ? IDS_CERTIFICATE_OF_SIGNATURE
                                                          : IDS_CERTIFICATE_OF_AUTHORITY));
        ShowCertificateRows(certificate, output);
        output.Line(L"");
    }

    // The names of the files are made of nothing from outside: a subject could be a path or the name of a device.
    ExitCode Save(const std::vector<NamedCertificate>& all, Output& output) const {
        ExitCode code = ExitCode::Done;
        output.BeginItems(L"files");
        for (const NamedCertificate& one : all) {
            const std::wstring path =
                *directory_ + L"\\" + one.kind + L"-" + Thumbprint(*one.certificate.get()) + L".cer";
            const auto bytes =
                std::as_bytes(std::span(one.certificate.get()->pbCertEncoded, one.certificate.get()->cbCertEncoded));
            const Result<> written = WriteWholeFile(path, bytes, overwrite_ ? Existing::Replace : Existing::Keep);
            if (written) {
                output.Line(FormatStringId(IDS_SAVED, path));
                output.Item(Value().Add(L"file", path));
            } else {
                output.FailItem(IDS_SAVE_FILE_FAILED, path, written.Failed());
                output.Item(Value().Add(L"file", path).Add(L"error", FailureValue(written.Failed())));
                code = ExitCode::Failed;
            }
        }
        return code;
    }

    // As the panel does: the certificate of the exchange key, or else of the signature key, then those of authorities.
    ExitCode Install(const FoundContainer& container, const KeyCertificates& keys, Session& session) const {
        if (!keys.selected) return ExitCode::Failed;  // the problem has been reported
        Output& output = session.GetOutput();
        const CERT_CONTEXT& certificate = *keys.selected.get();
        const Result<UniqueCertificateStore> store = OpenStoreToWrite(kPersonalStore, container.place.keySet);
        if (!store) {
            output.Fail(IDS_STORE_OPEN_FAILED, kPersonalStore, store.Failed());
            return ExitCode::Failed;
        }
        const ExitCode added = AddCertificate(store->get(), certificate, replace_, session);
        if (added != ExitCode::Done) return added;
        output.BeginItems(L"installed");
        output.Line(FormatStringId(IDS_INSTALLED, CertificateName(certificate, NameForm::X500), kPersonalStore));
        output.Item(CertificateValue(certificate).Add(L"store", kPersonalStore));
        return InstallAuthorities(container, output);
    }

    ExitCode InstallAuthorities(const FoundContainer& container, Output& output) const {
        AuthorityInstaller installer(container.place.keySet, trustRoots_, output);
        const Result<> visited = VisitExtensionCertificates(
            container.context.Get(), FaultyExtension::EndListing,
            [&](Authority authority, std::span<const BYTE> encoded) { return installer.Add(authority, encoded); });
        if (visited) return ExitCode::Done;
        output.Fail(IDS_AUTHORITIES_FAILED, container.place.name, visited.Failed());
        return ExitCode::Failed;
    }

    std::wstring name_;
    ContainerSelection selection_;
    std::optional<std::wstring> directory_;
    bool overwrite_ = false, install_ = false, trustRoots_ = false, replace_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeCertificates() {
    return std::make_unique<Certificates>();
}
