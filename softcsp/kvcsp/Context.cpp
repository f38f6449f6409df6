#include "softcsp/kvcsp/Context.h"

#include <cstring>

#include "softcsp/common/Names.h"
#include "softcsp/common/Settings.h"
#include "softcsp/kvcsp/ProviderInterface.h"

namespace softcsp {
namespace {

constexpr DWORD kFlagsKnown =
    CRYPT_VERIFYCONTEXT | CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET | CRYPT_SILENT | kParametersOnly;
constexpr DWORD kTableWithType = 3;  // the version of the system's table that gives type and name

DWORD Code(HRESULT result) {
    return static_cast<DWORD>(result);
}

template <class Record>
std::string Bytes(const Record& record) {
    return {reinterpret_cast<const char*>(&record), sizeof record};
}

std::string Narrow(const wchar_t* ascii) {
    std::string text;
    for (; *ascii != L'\0'; ++ascii) text.push_back(static_cast<char>(*ascii));
    return text;
}

// At namespace scope: made when the library is loaded, before any thread can ask for it.
ContextTable openContexts;

class Exclusive {
  public:
    explicit Exclusive(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
    ~Exclusive() { ReleaseSRWLockExclusive(&lock_); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

  private:
    SRWLOCK& lock_;
};

DWORD CheckFlags(const char* container, DWORD flags) {
    if ((flags & ~kFlagsKnown) != 0) return Code(NTE_BAD_FLAGS);
    const bool verify = (flags & CRYPT_VERIFYCONTEXT) == CRYPT_VERIFYCONTEXT;
    const DWORD change = flags & (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET);
    if (!verify && (flags & CRYPT_VERIFYCONTEXT) != 0) return Code(NTE_BAD_FLAGS);
    if (change == (CRYPT_NEWKEYSET | CRYPT_DELETEKEYSET) || (verify && change != 0)) return Code(NTE_BAD_FLAGS);
    if (change == CRYPT_NEWKEYSET) return Code(NTE_NOT_SUPPORTED);
    if (!verify) return Code(NTE_BAD_KEYSET);
    const bool named = container != nullptr && *container != '\0';
    return named ? Code(NTE_BAD_KEYSET_PARAM) : ERROR_SUCCESS;
}

}  // namespace

DWORD Context::Open(const char* container, DWORD flags, const ProviderTable& table, std::shared_ptr<Context>& context) {
    const bool told = table.version >= kTableWithType;
    const ProviderName* provider = told ? FindProvider(table.type) : &kProviders[0];
    if (provider == nullptr) return Code(NTE_BAD_PROV_TYPE);
    if (const DWORD result = CheckFlags(container, flags)) return result;
    auto opened = std::make_shared<Context>();
    opened->type_ = provider->type;
    opened->name_ = told && table.name != nullptr ? table.name : Narrow(provider->name);
    context = std::move(opened);
    return ERROR_SUCCESS;
}

std::string Context::Value(DWORD parameter, DWORD& result) const {
    switch (parameter) {
        case PP_VERSION: return Bytes(ReadSetting(kVersionSetting));
        case PP_PROVTYPE: {
            const DWORD reported = ReadSetting(kTypeSetting);
            return Bytes(reported != 0 ? reported : type_);
        }
        case PP_IMPTYPE: return Bytes(DWORD{CRYPT_IMPL_SOFTWARE});
        case PP_NAME: return {name_.c_str(), name_.size() + 1};  // with the terminator
        case PP_CONTAINER:
        case PP_UNIQUE_CONTAINER:
            result = Code(NTE_NOT_FOUND);  // the context has none
            return {};
        case kParamProtectionClass: return Bytes(ReadSetting(kClassSetting));
        case kParamBuild:
            return Bytes(BuildRecord{.size = sizeof(BuildRecord),
                                     .build = ReadSetting(kBuildSetting),
                                     .debug = ReadSetting(kDebugSetting),
                                     .reserved = {}});
        default: result = Code(NTE_BAD_TYPE); return {};
    }
}

DWORD Context::Parameter(DWORD parameter, BYTE* data, DWORD* size, DWORD flags) const {
    if (size == nullptr) return ERROR_INVALID_PARAMETER;
    DWORD result = ERROR_SUCCESS;
    const std::string value = Value(parameter, result);
    if (result != ERROR_SUCCESS) return result;
    if (flags != 0) return Code(NTE_BAD_FLAGS);
    const DWORD capacity = *size;
    *size = static_cast<DWORD>(value.size());
    if (data == nullptr) return ERROR_SUCCESS;
    if (capacity < value.size()) return ERROR_MORE_DATA;
    std::memcpy(data, value.data(), value.size());
    return ERROR_SUCCESS;
}

ContextTable& ContextTable::Instance() {
    return openContexts;
}

HCRYPTPROV ContextTable::Add(std::shared_ptr<Context> context) {
    const Exclusive held(lock_);
    contexts_.emplace(last_ + 1, std::move(context));
    return ++last_;
}

std::shared_ptr<Context> ContextTable::Find(HCRYPTPROV handle) {
    const Exclusive held(lock_);
    const auto found = contexts_.find(handle);
    return found != contexts_.end() ? found->second : nullptr;
}

bool ContextTable::Remove(HCRYPTPROV handle) {
    const Exclusive held(lock_);
    return contexts_.erase(handle) != 0;
}

}  // namespace softcsp
