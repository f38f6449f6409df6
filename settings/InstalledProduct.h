// The installation that the panel belongs to, as the Windows Installer and the configuration store describe it.
#pragma once

#include <optional>
#include <string>

#include "framework/Module.h"
#include "framework/SystemLibrary.h"

// The panel's file in the directory of this module, for programs beside the panel; empty when the module's path is
// unknown.
std::wstring PanelBeside();

class InstalledProduct {
  public:
    // Finds the installer product whose copy of the panel's component is the file `panel`.
    explicit InstalledProduct(const std::wstring& panel = Module::FileName());

    // The installer's product code, in braces. A fixed one when no installed product owns the panel.
    const std::wstring& Code() const noexcept { return code_; }

    // An installer property ("VersionString", "InstalledProductName", "URLInfoAbout", "URLUpdateInfo"), at most 255
    // characters; empty when it cannot be read.
    std::wstring Property(const wchar_t* name) const;

    // The provider that was installed with this module; empty when the store does not name it.
    std::wstring ProviderName() const;

    // The full path of an installed component's key file; empty when it is not installed on this machine.
    std::wstring ComponentFile(const wchar_t* component) const;

  private:
    std::wstring FindCode(const std::wstring& panel) const;
    // Nothing when the call fails; a property may be empty.
    std::optional<std::wstring> PropertyOf(const wchar_t* code, const wchar_t* name) const;

    SystemLibrary installer_{L"msi.dll"};
    std::wstring code_;
};
