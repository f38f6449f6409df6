#include "softcsp/container/SavedPasswords.h"

#include <wincrypt.h>
#include <dpapi.h>

#include <algorithm>
#include <cstring>

#include "softcsp/common/Store.h"
#include "softcsp/common/TextSum.h"

namespace softcsp {
namespace {

constexpr wchar_t kValue[] = L"\\passwd";
constexpr std::size_t kLongestSection = 255;  // characters of its name

// The system's data protection, loaded when a password is first saved or looked up: it is in no small library.
class DataProtection {
  public:
    DataProtection() : module_(LoadLibraryExW(L"crypt32.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32)) {
        if (module_ == nullptr) return;
        protect_ = Find<decltype(protect_)>("CryptProtectData");
        unprotect_ = Find<decltype(unprotect_)>("CryptUnprotectData");
    }
    ~DataProtection() {
        if (module_ != nullptr) FreeLibrary(module_);
    }
    DataProtection(const DataProtection&) = delete;
    DataProtection& operator=(const DataProtection&) = delete;

    DWORD Protect(ByteView secret, Owner owner, Bytes& protectedBytes) const {
        if (protect_ == nullptr) return ERROR_PROC_NOT_FOUND;
        DATA_BLOB in = Blob(secret), out{};
        const DWORD flags = CRYPTPROTECT_UI_FORBIDDEN | (owner == Owner::Computer ? CRYPTPROTECT_LOCAL_MACHINE : 0);
        if (!protect_(&in, nullptr, nullptr, nullptr, nullptr, flags, &out)) return GetLastError();
        protectedBytes.assign(out.pbData, out.pbData + out.cbData);
        LocalFree(out.pbData);
        return ERROR_SUCCESS;
    }
    std::optional<SymmetricKey> Unprotect(ByteView bytes) const {
        DATA_BLOB in = Blob(bytes), out{};
        if (unprotect_ == nullptr ||
            !unprotect_(&in, nullptr, nullptr, nullptr, nullptr, CRYPTPROTECT_UI_FORBIDDEN, &out))
            return std::nullopt;
        SymmetricKey key;
        const bool fits = out.cbData == key.Room().size();
        if (fits) std::memcpy(key.Room().data(), out.pbData, out.cbData);
        SecureZeroMemory(out.pbData, out.cbData);
        LocalFree(out.pbData);
        return fits ? std::optional(key) : std::nullopt;
    }

  private:
    template <class Function>
    Function Find(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }
    static DATA_BLOB Blob(ByteView bytes) {
        return {static_cast<DWORD>(bytes.size()), const_cast<BYTE*>(bytes.data())};  // only read
    }

    HMODULE module_;
    decltype(&CryptProtectData) protect_ = nullptr;
    decltype(&CryptUnprotectData) unprotect_ = nullptr;
};

constexpr wchar_t kDigits[] = L"0123456789ABCDEF";

std::wstring HexText(ByteView bytes) {
    std::wstring text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

// Empty when it isn't such a text.
Bytes BytesOfHex(const std::wstring& text) {
    Bytes bytes;
    if (text.size() % 2 != 0) return {};
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto* high = std::find(kDigits, kDigits + 16, text[i]);
        const auto* low = std::find(kDigits, kDigits + 16, text[i + 1]);
        if (high == kDigits + 16 || low == kDigits + 16) return {};
        bytes.push_back(static_cast<std::uint8_t>((high - kDigits) << 4 | (low - kDigits)));
    }
    return bytes;
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
    StoreValue value;
    std::wstring text;
    if (Store().Find((SectionOf(place) + kValue).c_str(), value) != ERROR_SUCCESS ||
        value.data.Text(text) != ERROR_SUCCESS)
        return std::nullopt;
    const Bytes bytes = BytesOfHex(text);
    return bytes.empty() ? std::nullopt : DataProtection().Unprotect(bytes);
}

DWORD SavedPasswords::Save(const ContainerPlace& place, const SymmetricKey& openingKey) const {
    Bytes bytes;
    if (const DWORD result = DataProtection().Protect(openingKey.Bytes(), owner_, bytes)) return result;
    return Store().PutText((SectionOf(place) + kValue).c_str(), HexText(bytes));
}

void SavedPasswords::Forget(const ContainerPlace& place) const {
    Store().DeleteSection(SectionOf(place).c_str());
}

void SavedPasswords::NoteCarrier(const Carrier& carrier) const {
    if (!carrier.removable) return;
    StoreValue value;
    DWORD disabled = 0;
    if (Store().Find(L"\\config\\Parameters\\DisableShortcuts", value) == ERROR_SUCCESS) value.data.Number(disabled);
    if (disabled == 0) Store().PutSection(Section(carrier.name).c_str());
}

}  // namespace softcsp
