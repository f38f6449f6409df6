#include "settings/DomainDirectory.h"

#include <adserr.h>
#include <rpc.h>
#include <adshlp.h>

#include <cstring>

#include "framework/Handles.h"
#include "framework/Text.h"

namespace {

// Fails with ERROR_FILE_EXISTS when the file exists. After another failure no file is left behind.
Result<> WriteNew(const std::wstring& path, const std::string& text) {
    UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return LastFailure();
    DWORD written = 0;
    Result<> result = Try(WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr));
    if (result && written != text.size()) result = Failure{ERROR_DISK_FULL};
    file.reset();
    if (!result) DeleteFileW(path.c_str());
    return result;
}

}  // namespace

std::wstring ShownIdentifier(const DomainController& controller) {
    return L'{' + controller.identifier + L'}';
}

std::string ExportText(std::span<const DomainController> controllers) {
    std::string text;
    for (const DomainController& controller : controllers) {
        text += ToUtf8(controller.name) + "\r\n" + ToUtf8(ShownIdentifier(controller)) + "\r\n";
    }
    return text;
}

Result<> WriteExport(const std::wstring& path, const std::string& text, bool overwrite) {
    if (!overwrite) return WriteNew(path, text);
    const std::wstring directory = path.substr(0, path.find_last_of(L"\\/") + 1);
    std::wstring beside;
    Result<> written = Failure{ERROR_FILE_EXISTS};
    for (int number = 0; !written && written.Failed().Is(ERROR_FILE_EXISTS) && number < 100; ++number) {
        beside = directory + L"~export" + NumberText(number) + L".tmp";
        written = WriteNew(beside, text);
    }
    if (!written) return written;
    const Result<> moved = Try(MoveFileExW(beside.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING));
    if (!moved) DeleteFileW(beside.c_str());
    return moved;
}

namespace {

constexpr wchar_t kPrefix[] = L"LDAP://";
constexpr wchar_t kTemplateClass[] = L"pKICertificateTemplate";
// Relative to the forest's configuration, in the order in which they are read and repaired.
constexpr const wchar_t* kTemplates[2] = {
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

Result<> TryCom(HRESULT result) noexcept {
    if (SUCCEEDED(result)) return {};
    return Failure{static_cast<DWORD>(result)};
}

constexpr Failure kOutOfMemory{static_cast<DWORD>(E_OUTOFMEMORY)};

// Queries an object for another interface.
template <class Interface>
Result<UniqueInterface<Interface>> Query(IUnknown* object, REFIID iid) noexcept {
    UniqueInterface<Interface> found;
    if (const Result<> queried = TryCom(object->QueryInterface(iid, reinterpret_cast<void**>(found.put()))); !queried)
        return queried.Failed();
    return found;
}

Result<> ReadAttribute(IADs* object, const wchar_t* name, AutomationValue& value) {
    const CallText attribute(name);
    if (!attribute) return kOutOfMemory;
    return TryCom(object->Get(attribute.Get(), value.Put()));
}

Result<std::wstring> ReadText(IADs* object, const wchar_t* name) {
    AutomationValue value;
    if (const Result<> read = ReadAttribute(object, name, value); !read) return read.Failed();
    const VARIANT& text = value.Get();
    if (V_VT(&text) != VT_BSTR || !V_BSTR(&text)) return Failure{static_cast<DWORD>(E_ADS_CANT_CONVERT_DATATYPE)};
    return std::wstring(V_BSTR(&text));
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
    if (!ReadAttribute(object, L"objectGUID", value) || !CopyGuid(value.Get(), guid)) return false;
    UniqueHandle<RPC_WSTR, &FreeGuidText> text;
    if (UuidToStringW(&guid, text.put()) != RPC_S_OK) return false;
    identifier = reinterpret_cast<const wchar_t*>(text.get());
    return true;
}

bool ReadController(const VARIANT& child, DomainController& controller) {
    if (V_VT(&child) != VT_DISPATCH || !V_DISPATCH(&child)) return false;
    const auto object = Query<IADs>(V_DISPATCH(&child), IID_IADs);
    if (!object) return false;
    IADs* const entry = object->get();
    UniqueAutomationText kind;
    return SUCCEEDED(entry->get_Class(kind.put())) && kind && std::wcscmp(kind.get(), L"computer") == 0 &&
           ReadText(entry, L"dNSHostName").Into(controller.name) && ReadIdentifier(entry, controller.identifier);
}

Result<UniqueInterface<IEnumVARIANT>> OpenChildren(IADsContainer* container) {
    UniqueInterface<IUnknown> enumerator;
    if (const Result<> opened = TryCom(container->get__NewEnum(enumerator.put())); !opened) return opened.Failed();
    return Query<IEnumVARIANT>(enumerator.get(), IID_IEnumVARIANT);
}

// Whether an attribute has another value than required. A missing one has the required value.
Result<bool> Differs(IADs* object, const wchar_t* name, LONG wanted) {
    AutomationValue value, right(wanted);
    if (const Result<> read = ReadAttribute(object, name, value); !read) {
        if (read.Failed().code == static_cast<DWORD>(E_ADS_PROPERTY_NOT_FOUND)) return false;
        return read.Failed();
    }
    return VarCmp(&value.Get(), &right.Get(), LOCALE_USER_DEFAULT, 0) != VARCMP_EQ;
}

Result<> ClearProviders(IADs* object) {
    const CallText name(kProviders);
    if (!name) return kOutOfMemory;
    AutomationValue nothing;
    return TryCom(object->PutEx(ADS_PROPERTY_CLEAR, name.Get(), nothing.Get()));
}

Result<> PutKeySize(IADs* object) {
    const CallText name(kKeySize);
    if (!name) return kOutOfMemory;
    AutomationValue size(kOwnKeySize);
    return TryCom(object->Put(name.Get(), size.Get()));
}

Result<> WriteBack(IADs* object) {
    return TryCom(object->SetInfo());
}

}  // namespace

template <class Interface>
Result<UniqueInterface<Interface>> DomainDirectory::Bind(const std::wstring& path, REFIID iid) const {
    const auto bind = library_.Function<decltype(&ADsGetObject)>("ADsGetObject");
    if (!bind) return Failure{static_cast<DWORD>(HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND))};
    UniqueInterface<Interface> object;
    if (const Result<> bound = TryCom(bind(path.c_str(), iid, reinterpret_cast<void**>(object.put()))); !bound)
        return bound.Failed();
    return object;
}

// Binds the container `within` (a relative name with its comma, or empty) the naming context that an attribute of the
// directory's root names.
Result<UniqueInterface<IADsContainer>> DomainDirectory::BindContext(const wchar_t* attribute,
                                                                    const std::wstring& within) const {
    return Bind<IADs>(std::wstring(kPrefix) + L"rootDSE", IID_IADs)
        .Then([&](const UniqueInterface<IADs>& root) { return ReadText(root.get(), attribute); })
        .Then([&](const std::wstring& context) {
            return Bind<IADsContainer>(kPrefix + within + context, IID_IADsContainer);
        });
}

Result<std::vector<DomainController>> DomainDirectory::ListControllers() const {
    const auto container = BindContext(L"DefaultNamingContext", L"OU=Domain Controllers,");
    if (!container) return container.Failed();
    const auto children = OpenChildren(container->get());
    if (!children) return children.Failed();
    std::vector<DomainController> found;
    for (;;) {
        AutomationValue child;
        ULONG count = 0;
        if (children->get()->Next(1, child.Put(), &count) != S_OK || count == 0) return found;
        if (DomainController controller; ReadController(child.Get(), controller))
            found.push_back(std::move(controller));
    }
}

Result<DomainDirectory::Templates> DomainDirectory::BindTemplates() const {
    const auto configuration = BindContext(L"configurationNamingContext", L"");
    if (!configuration) return configuration.Failed();
    Templates templates;
    for (size_t i = 0; i < templates.size(); ++i) {
        const CallText kind(kTemplateClass), name(kTemplates[i]);
        if (!kind || !name) return kOutOfMemory;
        UniqueInterface<IDispatch> object;
        const Result<> bound = TryCom(configuration->get()->GetObject(kind.Get(), name.Get(), object.put())).Then([&] {
            return Query<IADs>(object.get(), IID_IADs).Into(templates[i]);
        });
        if (!bound) return bound.Failed();
    }
    return templates;
}

bool DomainDirectory::TemplatesNeedRepair() const {
    const Result<Templates> templates = BindTemplates();
    if (!templates) return false;
    bool needed = false;
    for (const auto& one : *templates) {
        for (const auto& [attribute, wanted] : {std::pair{kProviders, kNoProviders}, {kKeySize, kOwnKeySize}}) {
            const Result<bool> differs = Differs(one.get(), attribute, wanted);
            if (!differs) return false;
            needed = needed || *differs;
        }
    }
    return needed;
}

// Step by step for both templates, so that nothing is written before everything could be set.
Result<> DomainDirectory::RepairTemplates() const {
    const Result<Templates> templates = BindTemplates();
    if (!templates) return templates.Failed();
    for (const auto step : {&ClearProviders, &PutKeySize, &WriteBack}) {
        for (const auto& one : *templates) {
            if (const Result<> done = step(one.get()); !done) return done;
        }
    }
    return {};
}
