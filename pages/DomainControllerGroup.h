// The part of the Winlogon page that is enabled on domain controllers: the controllers' identifiers and the repair of
// the certificate templates. The page owns the controls' window and forwards their notifications.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "framework/Controls.h"
#include "settings/DomainDirectory.h"

class CDataExchange;

class DomainControllerGroup {
  public:
    // The controls that are disabled on other systems, and when the controllers cannot be listed.
    static std::span<const UINT> IdentifierControls() noexcept;

    void DoDataExchange(CDataExchange* exchange);

    // Lists the domain's controllers and shows the first one. False when they cannot be listed.
    bool ShowControllers();

    void OnControllerSelected();
    void Export(HWND owner);

    // Whether "Fix templates" would change a template. Asks the directory each time.
    bool TemplatesNeedRepair();

    // Repairs the templates and reports the result to the user. False on failure.
    bool RepairTemplates();

  private:
    DomainDirectory& Directory();

    std::optional<DomainDirectory> directory_;   // created when it is first needed: it loads a library
    std::vector<DomainController> controllers_;  // in the order of their list
    CComboBox names_;
    CWnd identifier_;
};
