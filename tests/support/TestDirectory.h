// A directory of the test's own, in this process, which the system finds as its LDAP provider.
#pragma once

#include <windows.h>

#include <oleauto.h>

#include <adserr.h>
#include <iads.h>

#include <map>
#include <string>
#include <variant>
#include <vector>

struct DirectoryEntry {
    using Value = std::variant<LONG, std::wstring, std::vector<BYTE>>;
    std::wstring kind;  // class
    std::map<std::wstring, Value> attributes;
    std::vector<std::wstring> children;  // paths
    bool operator==(const DirectoryEntry&) const = default;
};

struct DirectoryCalls {
    static constexpr size_t kNone = ~size_t{0};
    static constexpr HRESULT CodeOf(size_t call) { return HRESULT(0x80005100 + call); }  // that it fails with

    // Every call comes by here, and fails when it is to.
    HRESULT Note(const std::wstring& call) {
        const size_t number = calls.size();
        calls.push_back(call);
        if (call == trouble) return E_ADS_OBJECT_UNBOUND;
        return number == failing || (onwards && number > failing) ? CodeOf(number) : S_OK;
    }
    void Forget(size_t nextFailing = kNone, bool fromThere = false) {
        calls.clear(), failing = nextFailing, onwards = fromThere;
    }

    std::map<std::wstring, DirectoryEntry> entries;  // by path, without "LDAP://"; "" is the provider itself
    std::vector<std::wstring> calls;                 // "Get dNSHostName"
    std::wstring trouble;                            // such a call fails
    size_t failing = kNone;                          // so does the one with this number
    bool onwards = false;                            // and those after it
    int objects = 0;                                 // not released yet
};

// What the objects have in common: that most is not made.
// clang-format off
class DirectoryInterfaces : protected IADs, protected IADsContainer, protected IADsOpenDSObject, protected IEnumVARIANT,
                            protected IClassFactory {
  public:
    virtual ~DirectoryInterfaces() = default;
#define NOT_MADE(method) HRESULT WINAPI method override { return E_NOTIMPL; }
    NOT_MADE(GetTypeInfoCount(UINT*)) NOT_MADE(GetTypeInfo(UINT, LCID, ITypeInfo**))
    NOT_MADE(GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*))
    NOT_MADE(Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*)) NOT_MADE(get_Name(BSTR*))
    NOT_MADE(get_GUID(BSTR*)) NOT_MADE(get_ADsPath(BSTR*)) NOT_MADE(get_Parent(BSTR*)) NOT_MADE(get_Schema(BSTR*))
    NOT_MADE(GetInfo()) NOT_MADE(GetEx(BSTR, VARIANT*)) NOT_MADE(GetInfoEx(VARIANT, __LONG32))
    NOT_MADE(get_Count(__LONG32*)) NOT_MADE(get_Filter(VARIANT*)) NOT_MADE(put_Filter(VARIANT))
    NOT_MADE(get_Hints(VARIANT*)) NOT_MADE(put_Hints(VARIANT)) NOT_MADE(Create(BSTR, BSTR, IDispatch**))
    NOT_MADE(Delete(BSTR, BSTR)) NOT_MADE(CopyHere(BSTR, BSTR, IDispatch**)) NOT_MADE(MoveHere(BSTR, BSTR, IDispatch**))
    NOT_MADE(Skip(ULONG)) NOT_MADE(Reset()) NOT_MADE(Clone(IEnumVARIANT**)) NOT_MADE(LockServer(BOOL))
#undef NOT_MADE
};
// clang-format on

// Whatever there is in the directory: an entry, its list of children, the provider.
class DirectoryObject final : DirectoryInterfaces {
  public:
    DirectoryObject(DirectoryCalls& directory, const std::wstring& path)
        : directory_(directory), path_(path), entry_(directory.entries[path]) {
        ++directory_.objects;
    }
    ~DirectoryObject() override { --directory_.objects; }
    IADs* Get() { return this; }
    HRESULT WINAPI QueryInterface(REFIID iid, void** object) override {
        *object = iid == IID_IUnknown || iid == IID_IDispatch || iid == IID_IADs ? static_cast<IADs*>(this)
                  : iid == IID_IADsContainer                                     ? static_cast<IADsContainer*>(this)
                  : iid == IID_IADsOpenDSObject                                  ? static_cast<IADsOpenDSObject*>(this)
                  : iid == IID_IEnumVARIANT                                      ? static_cast<IEnumVARIANT*>(this)
                  : iid == IID_IClassFactory                                     ? static_cast<IClassFactory*>(this)
                                                                                 : static_cast<void*>(nullptr);
        const HRESULT result = *object ? directory_.Note(L"Query") : E_NOINTERFACE;
        if (FAILED(result)) return *object = nullptr, result;
        return AddRef(), S_OK;
    }
    ULONG WINAPI AddRef() override { return ++references_; }
    ULONG WINAPI Release() override {
        const ULONG left = --references_;
        if (!left) delete this;
        return left;
    }
    HRESULT WINAPI CreateInstance(IUnknown*, REFIID iid, void** object) override { return QueryInterface(iid, object); }
    HRESULT WINAPI OpenDSObject(BSTR name, BSTR, BSTR, __LONG32, IDispatch** object) override {
        return Open(std::wstring(name).substr(7), object);  // after "LDAP://"
    }
    HRESULT WINAPI GetObject(BSTR kind, BSTR name, IDispatch** object) override {
        const std::wstring path = std::wstring(name) + L"," + path_;
        return directory_.entries[path].kind == kind ? Open(path, object) : E_ADS_BAD_PARAMETER;
    }
    HRESULT WINAPI get__NewEnum(IUnknown** children) override {
        *children = (new DirectoryObject(directory_, path_))->Get();
        return directory_.Note(L"NewEnum");
    }
    HRESULT WINAPI Next(ULONG, VARIANT* child, ULONG* count) override {
        const HRESULT result = directory_.Note(L"Next");
        *count = SUCCEEDED(result) && next_ < entry_.children.size() ? 1 : 0;
        if (*count == 0) return FAILED(result) ? result : S_FALSE;
        V_VT(child) = VT_DISPATCH;
        V_DISPATCH(child) = (new DirectoryObject(directory_, entry_.children[next_++]))->Get();
        return S_OK;
    }
    HRESULT WINAPI get_Class(BSTR* text) override {
        const HRESULT result = directory_.Note(L"Class");
        *text = SUCCEEDED(result) ? SysAllocString(entry_.kind.c_str()) : nullptr;
        return result;
    }
    HRESULT WINAPI Get(BSTR name, VARIANT* value) override {
        if (const HRESULT result = directory_.Note(std::wstring(L"Get ") + name); FAILED(result)) return result;
        const auto found = entry_.attributes.find(name);
        if (found == entry_.attributes.end()) return E_ADS_PROPERTY_NOT_FOUND;
        if (const auto* number = std::get_if<LONG>(&found->second)) {
            V_VT(value) = VT_I4, V_I4(value) = *number;
        } else if (const auto* text = std::get_if<std::wstring>(&found->second)) {
            V_VT(value) = VT_BSTR, V_BSTR(value) = SysAllocString(text->c_str());
        } else {
            auto& bytes = std::get<std::vector<BYTE>>(found->second);
            V_VT(value) = VT_ARRAY | VT_UI1;
            V_ARRAY(value) = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
            std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(V_ARRAY(value)->pvData));
        }
        return S_OK;
    }
    HRESULT WINAPI Put(BSTR name, VARIANT value) override {
        if (V_VT(&value) != VT_I4) return E_ADS_CANT_CONVERT_DATATYPE;
        entry_.attributes[name] = V_I4(&value);
        return directory_.Note(L"Put " + path_.substr(0, 6));
    }
    HRESULT WINAPI PutEx(__LONG32 control, BSTR name, VARIANT) override {
        if (control == ADS_PROPERTY_CLEAR) entry_.attributes.erase(name);
        return directory_.Note(L"Clear " + path_.substr(0, 6));
    }
    HRESULT WINAPI SetInfo() override {
        const HRESULT result = directory_.Note(L"Set " + path_.substr(0, 6));
        if (SUCCEEDED(result)) directory_.entries[path_] = entry_;
        return result;
    }

  private:
    HRESULT Open(const std::wstring& path, IDispatch** object) {
        const HRESULT result = directory_.Note(L"Open " + path.substr(0, 6));
        *object = SUCCEEDED(result) ? (new DirectoryObject(directory_, path))->Get() : nullptr;
        return result;
    }

    DirectoryCalls& directory_;
    const std::wstring path_;
    DirectoryEntry entry_;  // with what isn't written yet
    size_t next_ = 0;       // child
    ULONG references_ = 1;
};

// The two controllers, as they are exported.
const std::string kListed =
    "dc1.test\r\n{03020100-0504-0706-0809-0a0b0c0d0e01}\r\n"
    "dc2.test\r\n{03020100-0504-0706-0809-0a0b0c0d0e02}\r\n";

// A domain with two controllers and the templates that the system asks while the object lives.
class TestDirectory : public DirectoryCalls {
  public:
    static constexpr wchar_t kDomain[] = L"OU=Domain Controllers,DC=test";

    TestDirectory() {
        entries[L"rootDSE"].attributes = {{L"DefaultNamingContext", L"DC=test"},
                                          {L"configurationNamingContext", L"CN=Configuration,DC=test"}};
        entries[L"CN=Configuration,DC=test"];
        AddController(L"dc1.test", 1);
        AddController(L"dc2.test", 2);
        for (const wchar_t* name : {L"CN=DomainController", L"CN=EnrollmentAgent"}) {
            Template(name).kind = L"pKICertificateTemplate";
            Template(name).attributes = {{L"pKIDefaultCSPs", L"1,Another"}, {L"msPKI-Minimal-Key-Size", 1024}};
        }
        CoInitialize(nullptr);
        CoRegisterClassObject(kClass, provider_->Get(), CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &registration_);
        RegSetKeyValueW(HKEY_CLASSES_ROOT, L"VestraDirectory\\CLSID", nullptr, REG_SZ, kClassText, sizeof kClassText);
        Use(L"VestraDirectory");
        Forget();
    }
    ~TestDirectory() {
        Use(L"LDAPNamespace");  // as it is installed
        RegDeleteTreeW(HKEY_CLASSES_ROOT, L"VestraDirectory");
        CoRevokeClassObject(registration_);
        provider_->Release();
        CoUninitialize();
    }
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    DirectoryEntry& Template(const std::wstring& name) {
        return entries[name +
                       L", CN=Certificate Templates, CN=Public Key Services, CN=Services,"
                       L"CN=Configuration,DC=test"];
    }
    // Its identifier ends in this byte; the others count up from 0.
    DirectoryEntry& AddController(const std::wstring& name, BYTE last) {
        auto& children = entries[kDomain].children;
        children.push_back(L"CN=" + std::to_wstring(children.size()));
        DirectoryEntry& added = entries[children.back()];
        added.kind = L"computer";
        added.attributes = {{L"dNSHostName", name},
                            {L"objectGUID", std::vector<BYTE>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, last}}};
        return added;
    }

  private:
    static constexpr CLSID kClass = {0x5b0c5a1e, 0x7c1d, 0x4f3a, {0x9d, 0x21, 0x40, 0x6e, 0x11, 0x8a, 0x52, 0xc7}};
    static constexpr wchar_t kClassText[] = L"{5B0C5A1E-7C1D-4F3A-9D21-406E118A52C7}";

    static void Use(const std::wstring& provider) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\ADs\\Providers\\LDAP", nullptr, REG_SZ,
                        provider.c_str(), static_cast<DWORD>((provider.size() + 1) * sizeof(wchar_t)));
    }

    DirectoryObject* provider_ = new DirectoryObject(*this, L"");
    DWORD registration_ = 0;
};
