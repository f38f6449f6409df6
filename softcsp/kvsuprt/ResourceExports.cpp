// Exports: strings in a module's resources, and the language that they are read in.
#include <cwchar>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Resources.h"
#include "softcsp/common/Store.h"
#include "softcsp/kvsuprt.h"

using namespace softcsp;

namespace {

// An entry of a version resource; empty if it is missing. The system's function only reads the resource.
template <class Character>
std::basic_string_view<Character> VersionEntry(const Bytes& version, const std::wstring& path) {
    void* entry = nullptr;
    UINT count = 0;
    if (version.empty() || !VerQueryValueW(version.data(), path.c_str(), &entry, &count)) return {};
    return {static_cast<const Character*>(entry), count};
}

// Without the terminator, which not every value has.
std::wstring_view VersionText(const Bytes& version, const std::wstring& block, const wchar_t* name) {
    const auto text = VersionEntry<wchar_t>(version, L"\\StringFileInfo\\" + block + L'\\' + name);
    return text.substr(0, text.find(L'\0'));
}

// The first entry of the translation table, as the name of its block.
std::wstring FirstBlock(const Bytes& version) {
    const auto numbers = VersionEntry<char>(version, L"\\VarFileInfo\\Translation");
    WORD translation[2] = {};
    if (numbers.size() >= sizeof translation) std::memcpy(translation, numbers.data(), sizeof translation);
    wchar_t block[9];
    swprintf(block, std::size(block), L"%04x%04x", translation[0], translation[1]);
    return block;
}

// For the caller a missing text and an empty one are the same.
void GiveFound(std::wstring_view text, wchar_t* buffer, DWORD* length) {
    Require(!text.empty(), ERROR_RESOURCE_NAME_NOT_FOUND);
    GiveText(text, buffer, length);
}

}  // namespace

DWORD support_resource_string(HINSTANCE module, UINT id, wchar_t* buffer, DWORD* length) {
    return Guarded([=] { GiveFound(ResourceString(module, id), buffer, length); });
}

DWORD support_resource_version_string(const wchar_t* name, HINSTANCE module, wchar_t* buffer, DWORD* length) {
    return Guarded([=] {
        Require(name != nullptr, ERROR_INVALID_PARAMETER);
        ByteView resource = FindResourceBytes(module, RT_VERSION, VS_VERSION_INFO);
        if (resource.empty())
            resource = ResourceBytes(module, FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), RT_VERSION));
        const Bytes version(resource.begin(), resource.end());
        std::wstring_view text = VersionText(version, Language::Get() == kRussian ? L"041904b0" : L"040904b0", name);
        if (text.empty()) text = VersionText(version, FirstBlock(version), name);
        GiveFound(text, buffer, length);
    });
}

DWORD support_wnd_language_get(void) {
    DWORD language = kEnglish;
    Guarded([&] { language = Language::Get(); });
    return language;
}

DWORD support_wnd_language_update(void) {
    return Guarded([] { Language::Update(); });
}

DWORD support_wnd_language_done(void) {
    Language::Forget();
    return ERROR_SUCCESS;
}
