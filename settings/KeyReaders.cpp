#include "settings/KeyReaders.h"

#include "applet/services/DeviceLibraries.h"
#include "applet/services/SupportLibrary.h"

namespace {

using SupportLibrary = LibraryReference<&LoadSupportLibrary, &ReleaseSupportLibrary>;
using ReaderLibrary = LibraryReference<&LoadReaderLibrary, &ReleaseReaderLibrary>;

constexpr DWORD kMostKind = 64;  // characters of a nickname

// Readers are known to the libraries while the object lives.
class Registration {
  public:
    Registration() noexcept : started_(rdr_register_start(&registration_) == 0) {
        known_ = started_ && supsys_register_all(&registration_) == 0;
    }
    ~Registration() {
        if (started_) supsys_unregister_all(&registration_, 1);
    }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    explicit operator bool() const noexcept { return known_; }
    ReaderRegistration* Get() noexcept { return &registration_; }

  private:
    ReaderRegistration registration_;
    bool started_;
    bool known_;
};

using UniqueSearch = UniqueHandle<HANDLE, &supsys_find_close>;
using UniqueReader = UniqueHandle<HANDLE, &supsys_context_free>;

template <DWORD (*Function)(HANDLE, DWORD*, wchar_t*) noexcept>
bool Read(const UniqueReader& reader, std::wstring& text) {
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
    Registration registration;
    UniqueSearch search;
    if (!registration || supsys_find_open(registration.Get(), search.put()) != 0) return true;
    for (UniqueReader reader; supsys_find_next(search.get(), reader.put()) == 0;) {
        KeyReader found;
        std::wstring connection;
        if (!ReadKind(reader, found.storedName) || !Read<&supsys_connect_current>(reader, connection)) return false;
        if (!connection.empty()) found.storedName += L'_' + connection;
        if (Read<&supsys_register_name>(reader, found.name)) readers.push_back(std::move(found));
    }
    return true;
}
