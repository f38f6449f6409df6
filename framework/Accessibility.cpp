// Defines the property identifiers here: no library has them.
#include <initguid.h>

#include "framework/Accessibility.h"

#include <commctrl.h>
#include <objbase.h>
#include <oleacc.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/Controls.h"

namespace {

struct Releasing {
    void operator()(IUnknown* object) const noexcept { object->Release(); }
};

using Annotations = std::unique_ptr<IAccPropServices, Releasing>;

Annotations OpenAnnotations() noexcept {
    void* services = nullptr;
    if (FAILED(
            CoCreateInstance(CLSID_AccPropServices, nullptr, CLSCTX_INPROC_SERVER, IID_IAccPropServices, &services))) {
        return {};
    }
    return Annotations(static_cast<IAccPropServices*>(services));
}

constexpr DWORD kClient = static_cast<DWORD>(OBJID_CLIENT);

// The text as a screen reader speaks it: without the ampersand of the access key and the colon at the end.
std::wstring SpokenText(HWND window) {
    std::wstring text = WindowText(window);
    std::erase(text, L'&');
    if (text.ends_with(L':')) text.pop_back();
    return text;
}

struct Named {
    HWND window;
    std::wstring heading, name;
    bool labelled;  // the system finds the name by itself
};

class Naming {
  public:
    explicit Naming(HWND dialog) {
        for (HWND child = GetWindow(dialog, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) Take(child);
    }

    const std::vector<Named>& Controls() const noexcept { return controls_; }

    bool IsRepeated(const Named& control) const {
        return std::count_if(controls_.begin(), controls_.end(),
                             [&](const Named& other) { return other.name == control.name; }) > 1;
    }

  private:
    void Take(HWND child) {
        const bool button = IsOfClass(child, WC_BUTTONW), text = IsOfClass(child, WC_STATICW);
        const LONG_PTR style = GetWindowLongPtrW(child, GWL_STYLE);
        if (button && (style & BS_TYPEMASK) == BS_GROUPBOX) {
            group_ = child;
        } else if (text && (style & WS_TABSTOP) == 0) {
            TakeText(child);
        } else if (!IsOfClass(child, UPDOWN_CLASSW)) {
            // A text before a button labels nothing: it is a heading.
            if (button && label_) heading_ = std::exchange(label_, nullptr);
            const HWND source = button || text ? child : label_ ? label_ : before_;
            controls_.push_back({child, Heading(child), SpokenText(source), button || text || label_ != nullptr});
            label_ = nullptr;
            before_ = child;
        }
    }

    // A text after a field that has no label of its own is the field's unit.
    void TakeText(HWND child) {
        if (controls_.empty() || controls_.back().labelled || controls_.back().window != before_) {
            label_ = child;
        } else {
            controls_.back().name += L", " + SpokenText(child);
            before_ = nullptr;
        }
    }

    std::wstring Heading(HWND control) const {
        RECT group{}, place{};
        GetWindowRect(group_, &group);
        GetWindowRect(control, &place);
        const bool inside = group_ && PtInRect(&group, {place.left, place.top});
        return SpokenText(inside ? group_ : heading_);
    }

    std::vector<Named> controls_;
    HWND group_ = nullptr, heading_ = nullptr, label_ = nullptr;
    HWND before_ = nullptr;  // the control before, such as the radio button that enables an edit
};

}  // namespace

void SetAccessibleRole(HWND window, LONG role) noexcept {
    const Annotations annotations = OpenAnnotations();
    VARIANT value{};
    value.vt = VT_I4;
    value.lVal = role;
    if (annotations) annotations->SetHwndProp(window, kClient, CHILDID_SELF, PROPID_ACC_ROLE, value);
}

void NameControlsApart(HWND dialog) {
    const Naming naming(dialog);
    Annotations annotations;
    for (const Named& control : naming.Controls()) {
        const bool repeated = naming.IsRepeated(control);
        if (control.labelled && !repeated) continue;
        if (!annotations) annotations = OpenAnnotations();
        if (!annotations) return;
        const std::wstring heading = control.heading.empty() ? std::wstring() : control.heading + L": ";
        annotations->SetHwndPropStr(control.window, kClient, CHILDID_SELF, PROPID_ACC_NAME,
                                    (heading + control.name).c_str());
    }
}
