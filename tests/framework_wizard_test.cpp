// Wizards of the Wizard97 style.
#include <gtest/gtest.h>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/SheetRun.h"

namespace {

constexpr UINT kBack = 0x3023, kNext = 0x3024, kFinish = 0x3025;  // the buttons' ids

class Wizard : public TestSheet {
  public:
    using TestSheet::TestSheet;
    Wizard(std::initializer_list<CPropertyPage*> pages) : TestSheet(pages) {
        SetWizard97(watermark_.get(), header_.get());
    }

  private:
    static UniqueBitmap Load(UINT id) {
        return UniqueBitmap(static_cast<HBITMAP>(
            LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
    }
    UniqueBitmap watermark_ = Load(IDB_WIZARD_WATERMARK), header_ = Load(IDB_WIZARD_HEADER);
};

ModalScript::Step Pressing(int button) {
    return [button](HWND window) { Ui::Press(window, button); };
}

}  // namespace
