#include "softcsp/common/Resources.h"

#include "softcsp/common/ResourceText.h"
#include "softcsp/common/Store.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;  // the linker's name for the start of the module

namespace softcsp {

ByteView ResourceBytes(HMODULE module, HRSRC resource) {
    const HGLOBAL loaded = resource != nullptr ? LoadResource(module, resource) : nullptr;
    if (loaded == nullptr) return {};
    return {static_cast<const std::uint8_t*>(LockResource(loaded)), SizeofResource(module, resource)};
}

ByteView FindResourceBytes(HMODULE module, const wchar_t* type, UINT id) {
    return ResourceBytes(module,
                         FindResourceExW(module, type, MAKEINTRESOURCEW(id), static_cast<WORD>(Language::Get())));
}

std::wstring ResourceString(HMODULE module, UINT id) {
    if (id > 0xFFFF) return {};
    const auto text = StringOfBlock(FindResourceBytes(module, RT_STRING, (id >> 4) + 1), id & 15);
    return text ? std::wstring(text->begin(), text->end()) : std::wstring();
}

HINSTANCE OwnModule() {
    return reinterpret_cast<HINSTANCE>(&__ImageBase);
}

std::wstring OwnString(UINT id) {
    return ResourceString(OwnModule(), id);
}

}  // namespace softcsp
