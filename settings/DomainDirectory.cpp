#include "settings/DomainDirectory.h"

#include <adserr.h>
#include <rpc.h>
#include <adshlp.h>

#include <cstring>

#include "framework/Handles.h"
#include "framework/Text.h"

namespace {

std::string Utf8(const std::wstring& text) {
    const auto length = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

// ERROR_FILE_EXISTS, or what keeps the text from being written; then no file is left behind.
DWORD WriteNew(const std::wstring& path, const std::string& text) {
    UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return GetLastError();
    DWORD written = 0;
    DWORD error = ERROR_SUCCESS;
    if (!WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        error = GetLastError();
    } else if (written != text.size()) {
        error = ERROR_DISK_FULL;
    }
    file.reset();
    if (error != ERROR_SUCCESS) DeleteFileW(path.c_str());
    return error;
}

}  // namespace

std::wstring ShownIdentifier(const DomainController& controller) {
    return L'{' + controller.identifier + L'}';
}

std::string ExportText(std::span<const DomainController> controllers) {
    std::string text;
    for (const DomainController& controller : controllers) {
        text += Utf8(controller.name) + "\r\n" + Utf8(ShownIdentifier(controller)) + "\r\n";
    }
    return text;
}

DWORD WriteExport(const std::wstring& path, const std::string& text, bool overwrite) {
    if (!overwrite) return WriteNew(path, text);
    const std::wstring directory = path.substr(0, path.find_last_of(L"\\/") + 1);
    std::wstring beside;
    DWORD error = ERROR_FILE_EXISTS;
    for (int number = 0; error == ERROR_FILE_EXISTS && number < 100; ++number) {
        beside = directory + L"~export" + NumberText(number) + L".tmp";
        error = WriteNew(beside, text);
    }
    if (error != ERROR_SUCCESS || MoveFileExW(beside.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) return error;
    error = GetLastError();
    DeleteFileW(beside.c_str());
    return error;
}

namespace {

constexpr wchar_t kPrefix[] = L"LDAP://";
constexpr wchar_t kTemplateClass[] = L"pKICertificateTemplate";
// Relative to the forest's configuration, in the order in which they are read and repaired.
constexpr const wchar_t* kTemplates[] = {
    L"CN=DomainController, CN=Certificate Templates, CN=Public Key Services, CN=Services",
    L"CN=EnrollmentAgent, CN=Certificate Templates, CN=Public Key Services, CN=Services"};

constexpr wchar_t kProviders[] = L"pKIDefaultCSPs";
constexpr wchar_t kKeySize[] = L"msPKI-Minimal-Key-Size";
constexpr LONG kNoProviders = 0;   // represents a missing attribute
constexpr LONG kOwnKeySize = 512;  // in bits

void FreeGuidText(RPC_WSTR text) noexcept {
    RpcStringFreeW(&text);
}

// A text for one call; false when there is not enough memory.
class CallText {
  public:
    explicit CallText(const std::wstring& text) : text_(SysAllocString(text.c_str())) {}
    explicit operator bool() const noexcept { return static_cast<bool>(text_); }
    BSTR Get() const noexcept { return text_.get(); }

  private:
    UniqueAutomationText text_;
};

HRESULT ReadAttribute(IADs* object, const wchar_t* name, AutomationValue& value) {
    const CallText attribute(name);
    return attribute ? object->Get(attribute.Get(), value.Put()) : E_OUTOFMEMORY;
}

HRESULT ReadText(IADs* object, const wchar_t* name, std::wstring& text) {
    AutomationValue value;
    const HRESULT result = ReadAttribute(object, name, value);
    if (FAILED(result)) return result;
    const VARIANT& read = value.Get();
    if (V_VT(&read) != VT_BSTR || !V_BSTR(&read)) return E_ADS_CANT_CONVERT_DATATYPE;
    text = V_BSTR(&read);
    return S_OK;
}

// The directory returns octets as an array of bytes.
bool CopyGuid(const VARIANT& octets, UUID& guid) {
    if (V_VT(&octets) != (VT_ARRAY | VT_UI1)) return false;
    SAFEARRAY* array = V_ARRAY(&octets);
    LONG first = 0, last = 0;
    if (SafeArrayGetDim(array) != 1 || FAILED(SafeArrayGetLBound(array, 1, &first)) ||
        FAILED(SafeArrayGetUBound(array, 1, &last)) || last - first + 1 != LONG{sizeof guid}) {
        return false;
    }
    void* bytes = nullptr;
    if (FAILED(SafeArrayAccessData(array, &bytes))) return false;
    std::memcpy(&guid, bytes, sizeof guid);
    SafeArrayUnaccessData(array);
    return true;
}

bool ReadIdentifier(IADs* object, std::wstring& identifier) {
    AutomationValue value;
    UUID guid{};
    if (FAILED(ReadAttribute(object, L"objectGUID", value)) || !CopyGuid(value.Get(), guid)) return false;
    UniqueHandle<RPC_WSTR, &FreeGuidText> text;
    if (UuidToStringW(&guid, text.put()) != RPC_S_OK) return false;
    identifier = reinterpret_cast<const wchar_t*>(text.get());
    return true;
}

bool ReadController(const VARIANT& child, DomainController& controller) {
    if (V_VT(&child) != VT_DISPATCH || !V_DISPATCH(&child)) return false;
    UniqueInterface<IADs> object;
    UniqueAutomationText kind;
    return SUCCEEDED(Query(V_DISPATCH(&child), IID_IADs, object)) && SUCCEEDED(object.get()->get_Class(kind.put())) &&
           kind && std::wcscmp(kind.get(), L"computer") == 0 &&
           SUCCEEDED(ReadText(object.get(), L"dNSHostName", controller.name)) &&
           ReadIdentifier(object.get(), controller.identifier);
}

HRESULT OpenChildren(IADsContainer* container, UniqueInterface<IEnumVARIANT>& children) {
    UniqueInterface<IUnknown> enumerator;
    const HRESULT result = container->get__NewEnum(enumerator.put());
    return FAILED(result) ? result : Query(enumerator.get(), IID_IEnumVARIANT, children);
}

// Whether an attribute has another value than required. A missing one has the required value.
HRESULT Compare(IADs* object, const wchar_t* name, LONG wanted, bool& differs) {
    AutomationValue value, right(wanted);
    const HRESULT result = ReadAttribute(object, name, value);
    if (result == E_ADS_PROPERTY_NOT_FOUND) return S_OK;
    if (FAILED(result)) return result;
    if (VarCmp(&value.Get(), &right.Get(), LOCALE_USER_DEFAULT, 0) != VARCMP_EQ) differs = true;
    return S_OK;
}

HRESULT ClearProviders(IADs* object) {
    const CallText name(kProviders);
    AutomationValue nothing;
    return name ? object->PutEx(ADS_PROPERTY_CLEAR, name.Get(), nothing.Get()) : E_OUTOFMEMORY;
}

HRESULT PutKeySize(IADs* object) {
    const CallText name(kKeySize);
    AutomationValue size(kOwnKeySize);
    return name ? object->Put(name.Get(), size.Get()) : E_OUTOFMEMORY;
}

HRESULT WriteBack(IADs* object) {
    return object->SetInfo();
}

}  // namespace

HRESULT DomainDirectory::Bind(const std::wstring& path, REFIID iid, void** object) const {
    const auto bind = library_.Function<decltype(&ADsGetObject)>("ADsGetObject");
    return bind ? bind(path.c_str(), iid, object) : HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
}

// Binds what lies `within` (a relative name with its comma, or nothing) the naming context that the directory's root
// names.
HRESULT DomainDirectory::BindContext(const wchar_t* attribute, const std::wstring& within,
                                     UniqueInterface<IADsContainer>& container) const {
    UniqueInterface<IADs> root;
    HRESULT result = Bind(std::wstring(kPrefix) + L"rootDSE", IID_IADs, reinterpret_cast<void**>(root.put()));
    if (FAILED(result)) return result;
    std::wstring context;
    result = ReadText(root.get(), attribute, context);
    if (FAILED(result)) return result;
    return Bind(kPrefix + within + context, IID_IADsContainer, reinterpret_cast<void**>(container.put()));
}

HRESULT DomainDirectory::ListControllers(std::vector<DomainController>& controllers) const {
    UniqueInterface<IADsContainer> container;
    HRESULT result = BindContext(L"DefaultNamingContext", L"OU=Domain Controllers,", container);
    if (FAILED(result)) return result;
    UniqueInterface<IEnumVARIANT> children;
    result = OpenChildren(container.get(), children);
    if (FAILED(result)) return result;
    std::vector<DomainController> found;
    for (;;) {
        AutomationValue child;
        ULONG count = 0;
        if (children.get()->Next(1, child.Put(), &count) != S_OK || count == 0) break;
        if (DomainController controller; ReadController(child.Get(), controller))
            found.push_back(std::move(controller));
    }
    controllers = std::move(found);
    return S_OK;
}

HRESULT DomainDirectory::BindTemplates(Templates& templates) const {
    static_assert(std::size(kTemplates) == std::tuple_size_v<Templates>);
    UniqueInterface<IADsContainer> configuration;
    HRESULT result = BindContext(L"configurationNamingContext", L"", configuration);
    if (FAILED(result)) return result;
    auto next = templates.begin();
    for (const wchar_t* path : kTemplates) {
        const CallText kind(kTemplateClass), name(path);
        if (!kind || !name) return E_OUTOFMEMORY;
        UniqueInterface<IDispatch> object;
        result = configuration.get()->GetObject(kind.Get(), name.Get(), object.put());
        if (SUCCEEDED(result)) result = Query(object.get(), IID_IADs, *next++);
        if (FAILED(result)) return result;
    }
    return S_OK;
}

bool DomainDirectory::TemplatesNeedRepair() const {
    Templates templates;
    if (FAILED(BindTemplates(templates))) return false;
    bool needed = false;
    for (const auto& one : templates) {
        if (FAILED(Compare(one.get(), kProviders, kNoProviders, needed)) ||
            FAILED(Compare(one.get(), kKeySize, kOwnKeySize, needed))) {
            return false;
        }
    }
    return needed;
}

// Step by step for both templates, so that nothing is written before everything could be set.
HRESULT DomainDirectory::RepairTemplates() const {
    Templates templates;
    HRESULT result = BindTemplates(templates);
    for (const auto step : {&ClearProviders, &PutKeySize, &WriteBack}) {
        for (size_t i = 0; SUCCEEDED(result) && i < templates.size(); ++i) result = step(templates[i].get());
    }
    return result;
}
