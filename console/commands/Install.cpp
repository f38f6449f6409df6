// vestractl install
#include <algorithm>
#include <vector>

#include "applet/services/Strings.h"
#include "console/Commands.h"
#include "console/Containers.h"
#include "console/Describe.h"
#include "console/Installation.h"
#include "csp/CertificateInstallation.h"
#include "csp/CertificateStores.h"
#include "csp/CertificateText.h"
#include "csp/KeyLink.h"
#include "resources/console.h"

namespace {

// The message for a step of the linking that failed.
UINT MessageOf(LinkStep step) noexcept {
    switch (step) {
        case LinkStep::OpenKey: return IDS_LINK_KEY_FAILED;
        case LinkStep::ReadContainer:
        case LinkStep::ReadKey: return IDS_LINK_READ_FAILED;
        case LinkStep::Write: return IDS_LINK_WRITE_FAILED;
    }
    return 0;
}

class Install final : public Command {
  public:
    void Declare(Parameters& parameters) override {
        parameters.Argument(IDS_VALUE_FILE, IDS_ARGUMENT_CERTIFICATE_FILE, file_);
        parameters.Option("--container", IDS_VALUE_NAME, IDS_OPTION_CONTAINER, container_);
        parameters.Flag("--search", IDS_OPTION_SEARCH, search_);
        parameters.Option("--store", IDS_VALUE_STORE, IDS_OPTION_STORE, store_);
        parameters.Flag("--into-container", IDS_OPTION_INTO_CONTAINER, intoContainer_);
        parameters.Flag("--replace", IDS_OPTION_REPLACE, replace_);
        selection_.DeclareOwners(parameters);
    }

    std::wstring WrongUsage() const override {
        return container_.has_value() == search_ ? LoadStringLang(IDS_USAGE_INSTALL) : std::wstring();
    }

    ExitCode Run(Session& session) override {
        Output& output = session.GetOutput();
        const Result<CertificateFile> file = OpenCertificateFile(file_);
        if (!file) {
            output.Fail(IDS_FILE_FAILED, file_, file.Failed());
            return ExitCode::Failed;
        }
        if (container_) selection_.names = {*container_};
        output.BeginItems(L"installed");
        ExitCode code = ExitCode::Done;
        const ExitCode visited = VisitContainers(selection_, session, [&](const FoundContainer& container) {
            code = std::max(code, InstallFrom(file->store.get(), container, session));
            return !found_;
        });
        if (!found_ && code == ExitCode::Done && !session.Cancelled()) {
            output.Fail(container_ ? IDS_NO_MATCH_IN_CONTAINER : IDS_NO_MATCHING_CONTAINER, file_,
                        {static_cast<DWORD>(NTE_NO_KEY)});
            return ExitCode::Failed;
        }
        return std::max(visited, code);
    }

  private:
    // Installs the certificates of the file whose key is in this container. A file may hold authorities, too.
    ExitCode InstallFrom(HCERTSTORE file, const FoundContainer& container, Session& session) {
        if (!container.opened) {
            if (search_) return ExitCode::Done;  // as the panel's search does: it goes on with the next one
            session.GetOutput().Fail(IDS_OPEN_FAILED, container.place.name, container.opened.Failed());
            return ExitCode::Failed;
        }
        ExitCode code = ExitCode::Done;
        UniqueCertificate certificate;
        const auto next = [&] { return CertEnumCertificatesInStore(file, certificate.release()); };
        for (certificate.reset(next()); certificate; certificate.reset(next()))
            if (const DWORD keySpec = FindMatchingKey(container.context.Get(), *certificate.get())) {
                found_ = true;
                code = std::max(code, InstallOne(*certificate.get(), keySpec, container, session));
            }
        return code;
    }

    ExitCode InstallOne(const CERT_CONTEXT& certificate, DWORD keySpec, const FoundContainer& container,
                        Session& session) const {
        Output& output = session.GetOutput();
        const std::wstring storeName = store_.value_or(kPersonalStore);
        const Result<UniqueCertificateStore> store = OpenStoreToWrite(storeName, container.place.keySet);
        if (!store) {
            output.Fail(IDS_STORE_OPEN_FAILED, storeName, store.Failed());
            return ExitCode::Failed;
        }
        const LinkAttempt attempt =
            LinkCertificate(certificate, {container.context.Get(), keySpec, container.place.keySet, intoContainer_});
        if (!attempt.result) {
            output.Fail(MessageOf(attempt.step), container.place.name, attempt.result.Failed());
            return ExitCode::Failed;
        }
        if (const ExitCode added = AddCertificate(store->get(), certificate, replace_, session);
            added != ExitCode::Done)
            return added;
        output.Line(FormatStringId(IDS_INSTALLED, CertificateName(certificate, NameForm::X500), storeName));
        output.Line(FormatStringId(IDS_LINKED, attempt.container, KeyText(keySpec)));
        output.Item(CertificateValue(certificate)
                        .Add(L"store", storeName)
                        .Add(L"key", KeyName(keySpec))
                        .Add(L"container", PlaceValue(container.place))
                        .Add(L"intoContainer", intoContainer_));
        return ExitCode::Done;
    }

    std::wstring file_;
    std::optional<std::wstring> container_, store_;
    bool search_ = false, intoContainer_ = false, replace_ = false;
    ContainerSelection selection_;
    bool found_ = false;  // a container with a key of the file
};

}  // namespace

std::unique_ptr<Command> MakeInstall() {
    return std::make_unique<Install>();
}
