// What the Winlogon page reads and changes in the domain's directory. Each call asks the directory anew and waits for
// its answer; the thread has COM initialised. Results are the first failing call's own.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <iads.h>

#include <array>
#include <vector>

#include "framework/SystemLibrary.h"
#include "pages/Automation.h"
#include "pages/DomainControllers.h"

class DomainDirectory {
  public:
    // The domain's controllers, in the directory's order. Those without a name or an identifier are left out. A
    // listing that breaks off keeps what it gave. On failure `controllers` stays as it was.
    HRESULT ListControllers(std::vector<DomainController>& controllers) const;

    // Whether the certificate templates for logon prescribe providers, or another key size than the product's. False
    // when that can't be found out.
    bool TemplatesNeedRepair() const;

    // Makes them prescribe no providers and allow the product's key size.
    HRESULT RepairTemplates() const;

  private:
    using Templates = std::array<UniqueInterface<IADs>, 2>;

    HRESULT Bind(const std::wstring& path, REFIID iid, void** object) const;
    HRESULT BindContext(const wchar_t* attribute, const std::wstring& within,
                        UniqueInterface<IADsContainer>& container) const;
    HRESULT BindTemplates(Templates& templates) const;

    SystemLibrary library_{L"activeds.dll"};  // kept loaded: it tells more about its last error (ErrorText.h)
};
