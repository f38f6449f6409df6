// Exports: strings in a module's resources, and the language that they are read in.
#include "softcsp/kvsuprt.h"
#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/ResourceText.h"

namespace {

using softcsp::Language;
using softcsp::ResourceBytes;

ResourceBytes Load(HINSTANCE module, HRSRC resource) {
    if (resource == nullptr) return {};
    const HGLOBAL loaded = LoadResource(module, resource);
    const auto* bytes = loaded != nullptr ? static_cast<const std::uint8_t*>(LockResource(loaded)) : nullptr;
    if (bytes == nullptr) return {};
    return {bytes, SizeofResource(module, resource)};
}

// char16_t and wchar_t have the same values here, and are different types.
std::u16string_view Utf16(std::wstring_view text) {
    return {reinterpret_cast<const char16_t*>(text.data()), text.size()};
}

// For the caller a missing text and an empty one are the same.
DWORD Give(const std::optional<std::u16string>& text, wchar_t* buffer, DWORD* length) {
    if (!text || text->empty()) return ERROR_RESOURCE_NAME_NOT_FOUND;
    return softcsp::GiveText({reinterpret_cast<const wchar_t*>(text->data()), text->size()}, buffer, length);
}

}  // namespace

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) {
    return softcsp::Guarded([=]() -> DWORD {
        if (id > 0xFFFF) return ERROR_RESOURCE_NAME_NOT_FOUND;
        const HRSRC block =
            FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW((id >> 4) + 1), static_cast<WORD>(Language::Get()));
        return Give(softcsp::StringOfBlock(Load(module, block), id & 15), buffer, length);
    });
}

DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length) {
    return softcsp::Guarded([=]() -> DWORD {
        if (name == nullptr) return ERROR_INVALID_PARAMETER;
        const DWORD language = Language::Get();
        const wchar_t* const id = MAKEINTRESOURCEW(VS_VERSION_INFO);
        HRSRC resource = FindResourceExW(module, RT_VERSION, id, static_cast<WORD>(language));
        if (resource == nullptr) resource = FindResourceW(module, id, RT_VERSION);
        const ResourceBytes version = Load(module, resource);
        const auto* block = language == softcsp::kRussian ? u"041904b0" : u"040904b0";
        auto text = softcsp::VersionString(version, block, Utf16(name));
        if (!text)
            if (const auto first = softcsp::FirstTranslation(version))
                text = softcsp::VersionString(version, *first, Utf16(name));
        return Give(text, buffer, length);
    });
}

DWORD support_wnd_language_get(void) {
    DWORD language = softcsp::kEnglish;
    softcsp::Guarded([&language]() -> DWORD {
        language = Language::Get();
        return ERROR_SUCCESS;
    });
    return language;
}

DWORD support_wnd_language_update(void) {
    return softcsp::Guarded([]() -> DWORD {
        Language::Update();
        return ERROR_SUCCESS;
    });
}

DWORD support_wnd_language_done(void) {
    Language::Forget();
    return ERROR_SUCCESS;
}
