#include "applet/services/ProductLibrary.h"

#include "framework/Module.h"
#include "framework/Registry.h"
#include "framework/SystemLibrary.h"

namespace {

constexpr wchar_t kPathKeys[] = L"SOFTWARE\\Kelvane\\Cryptography\\CurrentVersion\\AppPath\\";
constexpr size_t kLongestKey = 256;

std::wstring RegisteredPath(const std::wstring& fileName) {
    const std::wstring key = kPathKeys + fileName;
    if (key.size() > kLongestKey) return {};
    return ReadRegistryText(HKEY_LOCAL_MACHINE, key, nullptr).value_or(std::wstring());
}

bool IsFullPath(const std::wstring& path) {
    const bool drive = path.size() > 3 && iswalpha(path[0]) && path[1] == L':' && path[2] == L'\\';
    const bool share = path.size() > 2 && path[0] == L'\\' && path[1] == L'\\';
    return drive || share;
}

// Disables the message boxes that the system shows for this thread when a load fails.
class QuietErrors : NonCopyable {
  public:
    QuietErrors() noexcept { SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX, &previous_); }
    ~QuietErrors() { SetThreadErrorMode(previous_, nullptr); }

  private:
    DWORD previous_ = 0;
};

// `load` is one of the functions of SystemLibrary.h.
HMODULE Load(HMODULE load(const wchar_t*) noexcept, const wchar_t* file) noexcept {
    const QuietErrors quiet;
    const ActivationScope context(Module::ActivationContext());
    return load(file);
}

}  // namespace

bool SamePath(const std::wstring& one, const std::wstring& other) noexcept {
    return CompareStringW(LOCALE_SYSTEM_DEFAULT, NORM_IGNORECASE, one.c_str(), -1, other.c_str(), -1) == CSTR_EQUAL;
}

std::wstring ResolveProductLibrary(const std::wstring& fileName) {
    const std::wstring self = Module::LongFileName();
    if (self.empty()) return {};
    const size_t nameStart = self.rfind(L'\\') + 1;

    if (SamePath(RegisteredPath(self.substr(nameStart)), self)) {
        std::wstring registered = RegisteredPath(fileName);
        if (IsFullPath(registered)) return registered;
    }
    const std::wstring beside = self.substr(0, nameStart) + fileName;
    return beside.size() < MAX_PATH ? beside : std::wstring();
}

HMODULE LoadProductLibrary(const wchar_t* fileName) noexcept {
    std::wstring path;
    try {
        path = ResolveProductLibrary(fileName);
    } catch (...) {  // out of memory
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return path.empty() ? Load(&LoadLibraryFromSafeDirectories, fileName) : Load(&LoadLibraryByPath, path.c_str());
}

// Tries the product's directory instead of the PATH, which may contain it.
HMODULE LoadLibraryByName(const wchar_t* fileName) noexcept {
    const HMODULE module = Load(&LoadLibraryFromSafeDirectories, fileName);
    return module ? module : LoadProductLibrary(fileName);
}

DWORD ProductLibrary::Load() noexcept {
    if (references_ == 0 && !module_) {
        module_ = LoadProductLibrary(fileName_);
        if (!module_) return kLibraryNotLoaded;
    }
    ++references_;
    return 0;
}

void ProductLibrary::Release() noexcept {
    if (references_ != 0) --references_;
}

FARPROC ProductLibrary::Find(const char* name) noexcept {
    if (!module_ && Load() != 0) return nullptr;
    return GetProcAddress(module_, name);
}
