// The domain's directory: the domain's controllers, and the certificate templates for logon. Each call queries the
// directory and waits for its answer. The calling thread must have initialised COM. An HRESULT is that of the first
// call that failed.
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

// Owners of COM automation's interfaces, texts and values.

template <class Interface>
void ReleaseInterface(Interface* object) noexcept {
    object->Release();
}
template <class Interface>
using UniqueInterface = UniqueHandle<Interface*, &ReleaseInterface<Interface>>;

using UniqueAutomationText = UniqueHandle<BSTR, &SysFreeString>;

// Queries an object for another interface; `wanted` is empty on failure.
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
    std::wstring name;        // DNS name
    std::wstring identifier;  // of its object in the directory; lower case, without braces
};

// The identifier in braces.
std::wstring ShownIdentifier(const DomainController& controller);

// Two lines for each controller, its name and its identifier in braces, in UTF-8. Lines end in carriage return and line
// feed.
std::string ExportText(std::span<const DomainController> controllers);

// Writes a file with exactly this text. Returns 0 or a Win32 code; ERROR_FILE_EXISTS when the file exists and
// `overwrite` is false. An existing file is replaced only after the new one was completely written beside it.
DWORD WriteExport(const std::wstring& path, const std::string& text, bool overwrite);

class DomainDirectory {
  public:
    // The domain's controllers, in the directory's order. Those without a name or an identifier are left out. If the
    // enumeration fails after it began, the controllers found until then are kept. On failure `controllers` is
    // unchanged.
    HRESULT ListControllers(std::vector<DomainController>& controllers) const;

    // Whether the certificate templates for logon prescribe providers, or another key size than the product's. False
    // when they cannot be read.
    bool TemplatesNeedRepair() const;

    // Changes the templates to prescribe no providers and to allow the product's key size.
    HRESULT RepairTemplates() const;

  private:
    using Templates = std::array<UniqueInterface<IADs>, 2>;

    HRESULT Bind(const std::wstring& path, REFIID iid, void** object) const;
    HRESULT BindContext(const wchar_t* attribute, const std::wstring& within,
                        UniqueInterface<IADsContainer>& container) const;
    HRESULT BindTemplates(Templates& templates) const;

    SystemLibrary library_{L"activeds.dll"};  // kept loaded: it is asked for the text of its last error (ErrorText.h)
};
