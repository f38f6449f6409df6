#include "settings/InstalledProduct.h"

#include <msi.h>

#include "applet/services/ProductLibrary.h"
#include "applet/services/SupportLibrary.h"

namespace {

constexpr wchar_t kPanelComponent[] = L"{8D2B4E61-93A7-4C05-B1E8-2F6A0C93D417}";
constexpr wchar_t kDefaultProduct[] = L"{B4E93F27-6A15-4D8C-8E02-7A39C15D6E80}";
constexpr wchar_t kSecondProduct[] = L"{5C71E0A9-2B84-4F3D-9A66-D18E42B70C25}";
constexpr size_t kCodeSize = 39;  // characters of a product code with its terminator

}  // namespace

std::wstring PanelBeside() {
    const std::wstring self = Module::LongFileName();
    return self.empty() ? self : self.substr(0, self.rfind(L'\\') + 1) + L"vestra.cpl";
}

InstalledProduct::InstalledProduct(const std::wstring& panel) : code_(FindCode(panel)) {}

std::wstring InstalledProduct::FindCode(const std::wstring& panel) const {
    const auto enumerate = installer_.Function<decltype(&MsiEnumClientsW)>("MsiEnumClientsW");
    const auto locate = installer_.Function<decltype(&MsiGetComponentPathW)>("MsiGetComponentPathW");
    if (!enumerate || !locate || panel.empty()) return kDefaultProduct;

    wchar_t code[kCodeSize];
    for (DWORD index = 0; enumerate(kPanelComponent, index, code) == ERROR_SUCCESS; ++index) {
        wchar_t path[MAX_PATH];
        auto length = static_cast<DWORD>(std::size(path));
        if (locate(code, kPanelComponent, path, &length) != INSTALLSTATE_LOCAL) continue;
        if (SamePath(path, panel)) return code;
    }
    return kDefaultProduct;
}

std::optional<std::wstring> InstalledProduct::PropertyOf(const wchar_t* code, const wchar_t* name) const {
    const auto get = installer_.Function<decltype(&MsiGetProductInfoW)>("MsiGetProductInfoW");
    wchar_t value[256] = L"";
    auto length = static_cast<DWORD>(std::size(value));
    if (!get || get(code, name, value, &length) != ERROR_SUCCESS) return {};
    return value;
}

std::wstring InstalledProduct::Property(const wchar_t* name) const {
    auto value = PropertyOf(code_.c_str(), name);
    if (!value) value = PropertyOf(kSecondProduct, name);
    return value.value_or(std::wstring());
}

std::wstring InstalledProduct::ProviderName() const {
    const std::wstring path = L"\\CONFIG\\" + code_;
    std::wstring name;
    ReadSupportText(
        [&](wchar_t* buffer, DWORD* length) { return support_registry_get_string(path.c_str(), length, buffer); },
        name);
    return name;
}

std::wstring InstalledProduct::ComponentFile(const wchar_t* component) const {
    const auto locate = installer_.Function<decltype(&MsiLocateComponentW)>("MsiLocateComponentW");
    wchar_t path[MAX_PATH] = L"";
    auto length = static_cast<DWORD>(std::size(path));
    if (!locate || locate(component, path, &length) != INSTALLSTATE_LOCAL) return {};
    return path;
}
