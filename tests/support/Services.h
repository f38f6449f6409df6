// What the tests of the shared services have in common.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <functional>
#include <list>

#include "applet/services/DialogLang.h"
#include "applet/services/Language.h"
#include "applet/services/SupportLibrary.h"
#include "resources/resource.h"
#include "tests/support/LibraryFunction.h"
#include "tests/support/Store.h"

inline constexpr const char* kSupportFunctions[] = {
    "support_resource_string",       "support_resource_version_string", "support_registry_put_section",
    "support_registry_put_string",   "support_registry_get_string",     "support_registry_put_long",
    "support_registry_get_long",     "support_registry_put_bool",       "support_registry_get_bool",
    "support_registry_check_access", "support_registry_delete_param",   "support_registry_delete_section",
    "support_wnd_language_update",   "support_wnd_language_get",        "support_wnd_language_done",
};

// Makes the services look every function of the support library up anew. Giving back more references than were taken
// does nothing.
inline void ForgetSupportFunctions() {
    LoadSupportLibrary();
    for (int i = 0; i < 64; ++i) ReleaseSupportLibrary();
}

// The user's language for the product while the object lives.
class SpokenLanguage {
  public:
    explicit SpokenLanguage(LANGID language) : stored_(L"\\local\\Language", language) { UpdatedUserLanguage(); }
    void Set(LANGID language) const {
        stored_.Set(language);
        UpdatedUserLanguage();
    }

  private:
    StoredNumber stored_;
};

// The support library lacks every function while the object lives, which is to its callers as if it were missing.
class NoSupport {
  public:
    NoSupport() {
        for (const char* name : kSupportFunctions) missing_.emplace_back(name, nullptr);
        ForgetSupportFunctions();
    }
    ~NoSupport() { ForgetSupportFunctions(); }

  private:
    std::list<LibraryFunction> missing_;
};

// Runs `body` inside a dialog of the panel, which closes after it.
inline void InDialog(const std::function<void(CDialog&)>& body) {
    class Dialog : public CDialogLang {
      public:
        explicit Dialog(const std::function<void(CDialog&)>& what) : CDialogLang(IDD_SERVICE), body_(what) {}

      private:
        bool OnInitDialog() override {
            CDialogLang::OnInitDialog();
            body_(*this);
            EndDialog(IDOK);
            return true;
        }
        const std::function<void(CDialog&)>& body_;
    };
    // The template is a page's, and so needs a parent.
    const HWND owner = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 300, 300, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(Dialog(body).DoModal(owner), IDOK);
    DestroyWindow(owner);
}
