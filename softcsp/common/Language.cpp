#include "softcsp/common/Language.h"

#include <atomic>

#include "softcsp/common/Store.h"

namespace softcsp {
namespace {

// One value per library and process; 0 = not read yet.
std::atomic<DWORD>& Kept() {
    static std::atomic<DWORD> kept{0};
    return kept;
}

DWORD Read() {
    for (const wchar_t* path : {L"\\local\\Language", L"\\config\\Language"}) {
        StoreValue value;
        DWORD language = 0;
        if (Store().Find(path, value) == ERROR_SUCCESS && value.data.Number(language) == ERROR_SUCCESS &&
            (language == kEnglish || language == kRussian))
            return language;
    }
    return PRIMARYLANGID(GetSystemDefaultUILanguage()) == LANG_RUSSIAN ? kRussian : kEnglish;
}

}  // namespace

DWORD Language::Get() {
    const DWORD kept = Kept();
    return kept != 0 ? kept : Update();
}

DWORD Language::Update() {
    const DWORD language = Read();
    Kept() = language;
    return language;
}

void Language::Forget() {
    Kept() = 0;
}

}  // namespace softcsp
