#include "wizards/CertificateAdding.h"

#include "applet/services/MessageBoxes.h"
#include "csp/CertificateInstallation.h"
#include "resources/resource.h"

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
    const Outcome added = AddToStore(store, certificate, question);
    // Who cancelled knows, be it our question or the system's own.
    if (!added.done && !IsCode(added.error, ERROR_CANCELLED)) ErrorMessageBox(added.error);
    return added.done;
}
