// A domain's directory of the test's own, in this process.
#pragma once

#include <oleauto.h>

#include <adserr.h>
#include <iads.h>

#include <map>
#include <variant>

#include "tests/support/ImportPatch.h"

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

    // Called for every call; its result.
    HRESULT Note(const std::wstring& call) {
        const size_t number = calls.size();
        calls.push_back(call);
        if (call == trouble) return E_ADS_OBJECT_UNBOUND;
        return number == failing ? CodeOf(number) : S_OK;
    }
    void Forget(size_t nextFailing) {
        calls.clear();
        failing = nextFailing;
    }

    std::map<std::wstring, DirectoryEntry> entries;  // by path, without "LDAP://"
    std::vector<std::wstring> calls;                 // "Get dNSHostName"
    std::wstring trouble;                            // such a call fails
    size_t failing = kNone;                          // so does the one with this number
    int objects = 0;                                 // not released yet
};

// What the objects have in common: that most is not made.
// clang-format off
class DirectoryInterfaces : protected IADs, protected IADsContainer, protected IEnumVARIANT {
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
    NOT_MADE(Skip(ULONG)) NOT_MADE(Reset()) NOT_MADE(Clone(IEnumVARIANT**))
#undef NOT_MADE
};
// clang-format on

// An entry of the directory, or its list of children.
class DirectoryObject final : DirectoryInterfaces {
  public:
    DirectoryObject(DirectoryCalls& directory, const std::wstring& path)
        : directory_(directory), path_(path), entry_(directory.entries[path]) {
        ++directory_.objects;
    }
    ~DirectoryObject() override { --directory_.objects; }
    static HRESULT Open(DirectoryCalls& directory, const std::wstring& path, REFIID iid, void** object) {
        if (const HRESULT result = directory.Note(L"Open " + path.substr(0, 6)); FAILED(result)) return result;
        auto* opened = new DirectoryObject(directory, path);
        const HRESULT result = opened->QueryInterface(iid, object);
        opened->Release();
        return result;
    }
    HRESULT WINAPI QueryInterface(REFIID iid, void** object) override {
        *object = static_cast<IADs*>(this);
        if (iid == IID_IADsContainer) *object = static_cast<IADsContainer*>(this);
        if (iid == IID_IEnumVARIANT) *object = static_cast<IEnumVARIANT*>(this);
        const HRESULT result = directory_.Note(L"Query");
        if (FAILED(result)) return *object = nullptr, result;
        return AddRef(), S_OK;
    }
    ULONG WINAPI AddRef() override { return ++references_; }
    ULONG WINAPI Release() override {
        if (--references_) return references_;
        delete this;
        return 0;
    }
    HRESULT WINAPI GetObject(BSTR kind, BSTR name, IDispatch** object) override {
        const std::wstring path = std::wstring(name) + L"," + path_;
        if (directory_.entries[path].kind != kind) return E_ADS_BAD_PARAMETER;
        return Open(directory_, path, IID_IDispatch, reinterpret_cast<void**>(object));
    }
    HRESULT WINAPI get__NewEnum(IUnknown** children) override {
        *children = static_cast<IADs*>(new DirectoryObject(directory_, path_));
        return directory_.Note(L"NewEnum");
    }
    HRESULT WINAPI Next(ULONG, VARIANT* child, ULONG* count) override {
        const HRESULT result = directory_.Note(L"Next");
        *count = SUCCEEDED(result) && next_ < entry_.children.size() ? 1 : 0;
        if (*count == 0) return FAILED(result) ? result : S_FALSE;
        V_VT(child) = VT_DISPATCH;
        V_DISPATCH(child) = static_cast<IADs*>(new DirectoryObject(directory_, entry_.children[next_++]));
        return S_OK;
    }
    HRESULT WINAPI get_Class(BSTR* text) override {
        *text = SysAllocString(entry_.kind.c_str());
        return directory_.Note(L"Class");
    }
    HRESULT WINAPI Get(BSTR name, VARIANT* value) override {
        if (const HRESULT result = directory_.Note(std::wstring(L"Get ") + name); FAILED(result)) return result;
        const auto found = entry_.attributes.find(name);
        if (found == entry_.attributes.end()) return E_ADS_PROPERTY_NOT_FOUND;
        if (const auto* number = std::get_if<LONG>(&found->second)) {
            V_VT(value) = VT_I4;
            V_I4(value) = *number;
        } else if (const auto* text = std::get_if<std::wstring>(&found->second)) {
            V_VT(value) = VT_BSTR;
            V_BSTR(value) = SysAllocString(text->c_str());
        } else {
            auto& bytes = std::get<std::vector<BYTE>>(found->second);
            V_VT(value) = VT_ARRAY | VT_UI1;
            V_ARRAY(value) = SafeArrayCreateVector(VT_UI1, 0, static_cast<ULONG>(bytes.size()));
            std::copy(bytes.begin(), bytes.end(), static_cast<BYTE*>(V_ARRAY(value)->pvData));
        }
        return S_OK;
    }
    HRESULT WINAPI Put(BSTR name, VARIANT value) override {
        entry_.attributes[name] = V_I4(&value);
        return directory_.Note(L"Put " + path_.substr(0, 6));
    }
    HRESULT WINAPI PutEx(__LONG32 control, BSTR name, VARIANT) override {
        if (control == ADS_PROPERTY_CLEAR) entry_.attributes.erase(name);
        return directory_.Note(L"Clear " + path_.substr(0, 6));
    }
    HRESULT WINAPI SetInfo() override {
        const HRESULT result = directory_.Note(L"Set " + path_.substr(0, 6));
        if (result == S_OK) directory_.entries[path_] = entry_;
        return result;
    }

  private:
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

// A domain with two controllers and the templates, which the panel finds while the object lives.
struct TestDirectory : DirectoryCalls {
    static constexpr wchar_t kDomain[] = L"OU=Domain Controllers,DC=test",
                             kTemplates[] =
                                 L", CN=Certificate Templates, CN=Public Key Services, CN=Services,"
                                 L"CN=Configuration,DC=test";

    TestDirectory() {
        bound = this;
        entries[L"rootDSE"].attributes = {{L"DefaultNamingContext", L"DC=test"},
                                          {L"configurationNamingContext", L"CN=Configuration,DC=test"}};
        entries[L"CN=Configuration,DC=test"];
        AddController(L"dc1.test", 1);
        AddController(L"dc2.test", 2);
        for (const wchar_t* name : {L"CN=DomainController", L"CN=EnrollmentAgent"}) {
            Template(name).kind = L"pKICertificateTemplate";
            Template(name).attributes = {{L"pKIDefaultCSPs", L"1,Another"}, {L"msPKI-Minimal-Key-Size", 1024}};
        }
    }
    DirectoryEntry& Template(const std::wstring& name) { return entries[name + kTemplates]; }
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
    static HRESULT WINAPI Bind(LPCWSTR path, REFIID iid, void** object) {
        return DirectoryObject::Open(*bound, path + wcslen(L"LDAP://"), iid, object);
    }

    static inline DirectoryCalls* bound;
    const LibraryFunction bind{"ADsGetObject", &Bind};
};
