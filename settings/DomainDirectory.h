// The domain's directory: the domain's controllers, and the certificate templates for logon. Each call queries the
// directory and waits for its answer. The calling thread must have initialised COM. A failure has the code of the first
// call that failed: an HRESULT, or for files a Win32 code.
#pragma once

#include <windows.h>

#include <oleauto.h>
#include <iads.h>

#include <array>
#include <span>
#include <string>
#include <vector>

#include "framework/Handles.h"
#include "framework/Result.h"
#include "framework/SystemLibrary.h"

// Owners of COM automation's interfaces, texts and values.

template <class Interface>
void ReleaseInterface(Interface* object) noexcept {
    object->Release();
}
template <class Interface>
using UniqueInterface = UniqueHandle<Interface*, &ReleaseInterface<Interface>>;

using UniqueAutomationText = UniqueHandle<BSTR, &SysFreeString>;

class AutomationValue : NonCopyable {
  public:
    AutomationValue() noexcept { VariantInit(&value_); }
    explicit AutomationValue(LONG number) noexcept : AutomationValue() { Set(number); }
    ~AutomationValue() { VariantClear(&value_); }

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

// Writes a file with exactly this text. Fails with ERROR_FILE_EXISTS when the file exists and `overwrite` is false. An
// existing file is replaced only after the new one was completely written beside it.
Result<> WriteExport(const std::wstring& path, const std::string& text, bool overwrite);

class DomainDirectory {
  public:
    // The domain's controllers, in the directory's order. Those without a name or an identifier are left out. If the
    // enumeration fails after it began, the result is the controllers found until then.
    Result<std::vector<DomainController>> ListControllers() const;

    // Whether the certificate templates for logon prescribe providers, or another key size than the product's. False
    // when they cannot be read.
    bool TemplatesNeedRepair() const;

    // Changes the templates to prescribe no providers and to allow the product's key size.
    Result<> RepairTemplates() const;

  private:
    using Templates = std::array<UniqueInterface<IADs>, 2>;

    template <class Interface>
    Result<UniqueInterface<Interface>> Bind(const std::wstring& path, REFIID iid) const;
    Result<UniqueInterface<IADsContainer>> BindContext(const wchar_t* attribute, const std::wstring& within) const;
    Result<Templates> BindTemplates() const;

    SystemLibrary library_{L"activeds.dll"};  // kept loaded: ErrorText reads its last error
};
