// Owners of what COM automation hands about: interfaces, texts, values.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include "framework/Handles.h"

template <class Interface>
struct InterfacePolicy : NullPointerPolicy<Interface*> {
    static void close(Interface* object) noexcept { object->Release(); }
};
template <class Interface>
using UniqueInterface = UniqueHandle<InterfacePolicy<Interface>>;

struct AutomationTextPolicy : NullPointerPolicy<BSTR> {
    static void close(Handle text) noexcept { SysFreeString(text); }
};
using UniqueAutomationText = UniqueHandle<AutomationTextPolicy>;

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
