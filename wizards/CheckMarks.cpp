#include "wizards/CheckMarks.h"

#include "csp/CheckTexts.h"
#include "framework/Handles.h"
#include "framework/Module.h"
#include "resources/resource.h"

CheckMark MarkOf(UINT label, UINT value, bool error) noexcept {
    if (label == kTextCheckSucceeded) return CheckMark::Succeeded;
    if (label == kTextCheckFailed) return CheckMark::Failed;
    // Stores that can't be listed are no fault of the container.
    if (error) return label == kTextCertificateInStore ? CheckMark::Note : CheckMark::Failed;
    switch (value) {
        case kTextCorrupted:
        case kTextUnknownCorruption:
        case kTextOtherKey:
        case kTextExpired: return CheckMark::Failed;
        case kTextNotAvailable:
        case kTextNotInstalled:
        case kTextNoKeyLink: return CheckMark::Note;
        default: return CheckMark::None;
    }
}

HIMAGELIST CreateMarks() noexcept {
    constexpr UINT kIcons[] = {IDI_MARK_SUCCEEDED, IDI_MARK_FAILED, IDI_MARK_NOTE};
    const int width = GetSystemMetrics(SM_CXSMICON), height = GetSystemMetrics(SM_CYSMICON);
    const HIMAGELIST marks = ImageList_Create(width, height, ILC_COLOR32 | ILC_MASK, std::size(kIcons), 0);
    for (const UINT id : kIcons) {
        const UniqueIcon icon(static_cast<HICON>(
            LoadImageW(Module::Instance(), MAKEINTRESOURCEW(id), IMAGE_ICON, width, height, LR_DEFAULTCOLOR)));
        ImageList_AddIcon(marks, icon.get());
    }
    return marks;
}
