#include "softcsp/tool/SupportLibrary.h"

#include <string>

#include "softcsp/tool/Console.h"
#include "softcsp/tool/Setup.h"

namespace softcsp {
namespace {

template <class Function>
void Bind(HMODULE module, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    if (function == nullptr)
        throw Failure{L"kvsuprt.dll has no " + std::wstring(name, name + strlen(name)), ERROR_PROC_NOT_FOUND};
}

HMODULE Load() {
    const std::wstring path = OwnDirectory() + L"kvsuprt.dll";
    const HMODULE module = LoadLibraryW(path.c_str());
    if (module == nullptr) throw Failure{L"can't load " + path, GetLastError()};
    return module;
}

}  // namespace

SupportLibrary::SupportLibrary() : module_(Load()) {
    Bind(module_, "support_registry_get_string", getString);
    Bind(module_, "support_registry_get_long", getLong);
    Bind(module_, "support_registry_put_string", putString);
    Bind(module_, "support_registry_put_long", putLong);
}

SupportLibrary::~SupportLibrary() {
    FreeLibrary(module_);
}

}  // namespace softcsp
