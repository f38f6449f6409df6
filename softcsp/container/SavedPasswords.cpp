#include "softcsp/container/SavedPasswords.h"

#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"

namespace softcsp {
namespace {

constexpr wchar_t kValue[] = L"\\passwd";
constexpr std::size_t kLongestSection = 255;  // characters of its name

// Binds a saved key to its container: copied to another section it is not accepted.
Bytes EntropyOf(const std::wstring& section) {
    return Utf16Bytes(LowerCase(section));
}

}  // namespace

std::wstring SavedPasswords::Section(const std::wstring& name) const {
    return (owner_ == Owner::User ? L"\\local\\KeyDevices\\passwords\\" : L"\\global\\KeyDevices\\passwords\\") + name;
}

std::wstring SavedPasswords::SectionOf(const ContainerPlace& place) const {
    const std::wstring carrier = std::to_wstring(type_) + L'/' + place.carrier.name + L'/';
    const bool fits = carrier.size() + place.name.size() <= kLongestSection;
    return Section(carrier + (fits ? place.name : L'#' + TextSum(place.name)));
}

std::optional<SymmetricKey> SavedPasswords::Find(const ContainerPlace& place) const {
    const std::wstring section = SectionOf(place);
    std::wstring text;
    if (Store().ReadText(section + kValue, text) != ERROR_SUCCESS) return std::nullopt;
    const auto bytes = ParseHex(text);
    return bytes ? UnprotectKey(*bytes, EntropyOf(section)) : std::nullopt;
}

DWORD SavedPasswords::Save(const ContainerPlace& place, const SymmetricKey& openingKey) const {
    const std::wstring section = SectionOf(place);
    Bytes bytes;
    if (!ProtectKey(openingKey, EntropyOf(section), owner_ == Owner::Computer, bytes)) return ERROR_ENCRYPTION_FAILED;
    // Every account of the computer could unprotect the key, so that no other account may read it.
    NewObjectSecurity administrators(Rights::OwnerAndAdministrators);
    auto* const security = owner_ == Owner::Computer ? administrators.Attributes() : nullptr;
    if (const DWORD result = Store().CreateSection(section.c_str(), security)) return result;
    return Store().WriteText((section + kValue).c_str(), HexText(bytes));
}

void SavedPasswords::Remove(const ContainerPlace& place) const {
    Store().RemoveSection(SectionOf(place).c_str());
}

void SavedPasswords::AddCarrier(const Carrier& carrier) const {
    if (!carrier.removable) return;
    DWORD disabled = 0;
    Store().ReadNumber(L"\\config\\Parameters\\DisableShortcuts", disabled);
    if (disabled == 0) Store().CreateSection(Section(carrier.name).c_str());
}

}  // namespace softcsp
