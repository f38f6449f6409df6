// The base classes of the wizards and of their pages.
#pragma once

#include <windows.h>

#include <array>

#include "applet/services/LanguageAware.h"
#include "csp/CryptProvContext.h"
#include "framework/Handles.h"
#include "framework/PropertySheet.h"

// The state that the pages of a wizard share. A wizard with more state derives its own plain struct.
struct WizardState {
    KeySet keySet = KeySet::User;  // last chosen on any page
};

// Sets the font of a page's title, a static control: bold, twelve points at the resolution of its display. The caller
// owns the font, which must outlive the control.
UniqueFont SetTitleFont(HWND title) noexcept;

class LongWork;

// The state of a page.
struct PageActivity {
    bool busy = false;         // the page handles an action of the user and refuses others
    LongWork* work = nullptr;  // the current long work, if there is one
};

// Long work of a wizard page on the thread of its sheet, during which the user can only cancel. The object's lifetime
// is that of the work. Call GoOn between two steps.
class LongWork : NonCopyable {
  public:
    // Disables the sheet's Back, Next and Finish buttons. `activity` belongs to the page and must outlive the object.
    LongWork(HWND sheet, PageActivity& activity) noexcept;
    // Restores the buttons and the page's activity. Input that arrived during the last step is discarded.
    ~LongWork();

    // Paints the sheet, and processes or discards the input that has arrived. False when the user has cancelled, or
    // when WM_QUIT has been posted.
    bool GoOn() noexcept;

    void Cancel() noexcept { cancelled_ = true; }

  private:
    struct Button {
        HWND window = nullptr;
        bool enabled = false;
    };

    HWND sheet_;
    PageActivity& activity_;
    PageActivity before_;
    std::array<Button, 3> buttons_;
    bool cancelled_ = false;
};

// A page of a wizard. It handles one action of the user at a time.
class CWizardPageBase : public CPropertyPageLang {
  public:
    // `dialog` is the id of the template. The others are string ids: the wizard's caption, and the title and subtitle
    // in the header; 0: none.
    CWizardPageBase(UINT dialog, UINT caption, UINT title, UINT subtitle);

  protected:
    // A page with the wizard's watermark instead of a header.
    CWizardPageBase(UINT dialog, UINT caption);

    // Sets the sheet's enabled buttons (PSWIZB_…). Next or Finish becomes the default button even while it is disabled:
    // otherwise the sheet would choose Cancel or Back, and Enter would press it.
    void SetWizardButtons(DWORD buttons) noexcept;

    // On a page whose first control is a button: Next or Finish, if it is enabled. A button of the page with the focus
    // would be the default button instead.
    HWND OnQueryInitialFocus() override;

    // Refuses actions of the user while the page is busy: a provider's window that doesn't disable the wizard would let
    // the user leave the page, or begin a second action during the first. During a long work, Cancel only cancels it.
    MessageResult HandleMessage(const Message& message) override;

    PageActivity activity_;

  private:
    UINT ForwardButton() const noexcept;  // id of Next or Finish

    DWORD buttons_ = 0;  // the enabled ones, PSWIZB_…
};

// A wizard in the Wizard97 style. A derived class has its state and its pages as members, in that order, and adds the
// pages in its constructor.
class CPropertySheetWizardBase : public CPropertySheet {
  public:
    // `parent` may be nullptr. `watermark` is the id of the bitmap beside pages without a header; 0: none. A bitmap
    // that can't be loaded isn't shown.
    CPropertySheetWizardBase(HWND parent, UINT caption, UINT watermark = 0);

  private:
    UniqueBitmap watermark_, header_;
};
