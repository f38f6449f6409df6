#include "settings/KeyReaders.h"

#include "applet/services/DeviceLibraries.h"
#include "applet/services/SupportLibrary.h"

namespace {

using SupportLibrary = LibraryReference<&LoadSupportLibrary, &ReleaseSupportLibrary>;
using ReaderLibrary = LibraryReference<&LoadReaderLibrary, &ReleaseReaderLibrary>;

constexpr DWORD kMostKind = 64;  // characters of a nickname

// Registers the readers with both libraries. The destructor ends the registration.
class RegisteredReaders {
  public:
    RegisteredReaders() noexcept : started_(rdr_register_start(&registration_) == 0) {
        complete_ = started_ && supsys_register_all(&registration_) == 0;
    }
    ~RegisteredReaders() {
        if (started_) supsys_unregister_all(&registration_, 1);
    }
    RegisteredReaders(const RegisteredReaders&) = delete;
    RegisteredReaders& operator=(const RegisteredReaders&) = delete;
    explicit operator bool() const noexcept { return complete_; }
    ReaderRegistration* Get() noexcept { return &registration_; }

  private:
    ReaderRegistration registration_;
    bool started_;
    bool complete_;
};

using UniqueSearch = UniqueHandle<HANDLE, &supsys_find_close>;
using UniqueReader = UniqueHandle<HANDLE, &supsys_context_free>;

template <DWORD (*Function)(HANDLE, DWORD*, wchar_t*) noexcept>
bool ReadText(const UniqueReader& reader, std::wstring& text) {
    return ReadSupportText([&](wchar_t* buffer, DWORD* length) { return Function(reader.get(), length, buffer); },
                           text) == 0;
}

bool ReadKind(const UniqueReader& reader, std::wstring& kind) {
    wchar_t text[kMostKind + 1] = L"";
    DWORD length = kMostKind;
    if (supsys_nickname(reader.get(), &length, text) != 0) return false;
    text[kMostKind] = L'\0';
    kind = text;
    return true;
}

}  // namespace

bool ListKeyReaders(std::vector<KeyReader>& readers) {
    const SupportLibrary support;
    const ReaderLibrary library;
    if (!support || !library) return true;
    RegisteredReaders registered;
    UniqueSearch search;
    if (!registered || supsys_find_open(registered.Get(), search.put()) != 0) return true;
    for (UniqueReader reader; supsys_find_next(search.get(), reader.put()) == 0;) {
        KeyReader found;
        std::wstring connection;
        if (!ReadKind(reader, found.storedName) || !ReadText<&supsys_connect_current>(reader, connection)) return false;
        if (!connection.empty()) found.storedName += L'_' + connection;
        if (ReadText<&supsys_register_name>(reader, found.name)) readers.push_back(std::move(found));
    }
    return true;
}
