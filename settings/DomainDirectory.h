// What the Winlogon page reads and changes in the domain's directory. Each call asks the directory anew and waits for
// its answer; the thread has COM initialised. Results are the first failing call's own.
#pragma once

#include <windows.h>

#include <oleauto.h>
#include <iads.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "framework/Handles.h"
#include "framework/SystemLibrary.h"

// Owners of what COM automation hands about: interfaces, texts, values.

template <class Interface>
void ReleaseInterface(Interface* object) noexcept {
    object->Release();
}
template <class Interface>
using UniqueInterface = UniqueHandle<Interface*, &ReleaseInterface<Interface>>;

using UniqueAutomationText = UniqueHandle<BSTR, &SysFreeString>;

// Asks an object for another of its interfaces; none stays in `wanted` on failure.
template <class Interface>
HRESULT Query(IUnknown* object, REFIID iid, UniqueInterface<Interface>& wanted) noexcept {
    return object->QueryInterface(iid, reinterpret_cast<void**>(wanted.put()));
}

class AutomationValue {
  public:
    AutomationValue() noexcept { VariantInit(&value_); }
    explicit AutomationValue(LONG number) noexcept : AutomationValue() { Set(number); }
    ~AutomationValue() { VariantClear(&value_); }
    AutomationValue(const AutomationValue&) = delete;
    AutomationValue& operator=(const AutomationValue&) = delete;

    void Set(LONG number) noexcept {
        VariantClear(&value_);
        V_VT(&value_) = VT_I4;
        V_I4(&value_) = number;
    }

    VARIANT& Get() noexcept { return value_; }
    VARIANT* Put() noexcept {  // for functions that return a value through a pointer
        VariantClear(&value_);
        return &value_;
    }

  private:
    VARIANT value_;
};

// The controllers of a domain, as they are shown and exported.

struct DomainController {
    std::wstring name;        // in DNS
    std::wstring identifier;  // its object's in the directory: lower case, without braces
};

// The identifier as it is shown: in braces.
std::wstring ShownIdentifier(const DomainController& controller);

// Two lines for each controller: its name, its identifier. UTF-8, which for names in DNS is plain ASCII; lines end in
// carriage return and line feed.
std::string ExportText(std::span<const DomainController> controllers);

// Writes a file with exactly this text. 0 or a Win32 code: ERROR_FILE_EXISTS when there is such a file and it is not to
// be overwritten. One that is overwritten keeps its content until the new one is written whole beside it.
DWORD WriteExport(const std::wstring& path, const std::string& text, bool overwrite);

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
