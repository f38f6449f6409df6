#include "softcsp/dialogs/ModuleText.h"

#include "softcsp/common/Language.h"
#include "softcsp/common/ResourceText.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // the linker's name for the start of the module

namespace softcsp {
namespace {

// In exactly the language: the system's own search would give whichever there is. Nothing when it isn't there.
ResourceBytes Load(const wchar_t* type, UINT id) {
    const HINSTANCE module = OwnModule();
    const HRSRC found = FindResourceExW(module, type, MAKEINTRESOURCEW(id), static_cast<WORD>(Language::Get()));
    const HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    if (loaded == nullptr) return {};
    return {static_cast<const std::uint8_t*>(LockResource(loaded)), SizeofResource(module, found)};
}

}  // namespace

HINSTANCE OwnModule() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

std::wstring OwnString(UINT id) {
    const auto text = StringOfBlock(Load(RT_STRING, (id >> 4) + 1), id & 15);
    return text ? std::wstring(text->begin(), text->end()) : std::wstring();
}

const DLGTEMPLATE* OwnTemplate(UINT id) {
    return reinterpret_cast<const DLGTEMPLATE*>(Load(RT_DIALOG, id).data());
}

}  // namespace softcsp
