#include "wizards/PropertySheetWizardBase.h"

#include "applet/services/Strings.h"
#include "framework/Module.h"
#include "resources/resource.h"

namespace {

UniqueBitmap LoadPicture(UINT id) {
    return UniqueBitmap(id ? LoadBitmapW(Module::Instance(), MAKEINTRESOURCEW(id)) : nullptr);
}

}  // namespace

CPropertySheetWizardBase::CPropertySheetWizardBase(HWND parent, UINT caption, UINT watermark)
    : watermark_(LoadPicture(watermark)), header_(LoadPicture(IDB_WIZARD_HEADER)) {
    SetOwner(parent);
    SetCaption(LoadStringLang(caption));
    SetWizard97(watermark_.get(), header_.get());
}
