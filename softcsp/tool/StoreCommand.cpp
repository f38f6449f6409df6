#include "softcsp/tool/StoreCommand.h"

#include "softcsp/common/AccessList.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/tool/Console.h"
#include "softcsp/tool/SupportLibrary.h"

namespace softcsp {
namespace {

// Numbers and flags are shown as decimals, texts as they are.
void Get(const std::wstring& path) {
    const SupportLibrary library;
    std::wstring text;
    LONG number = 0;
    DWORD result = library.getLong(path.c_str(), &number);
    if (result == ERROR_SUCCESS) {
        text = std::to_wstring(static_cast<DWORD>(number));
    } else if (result == ERROR_INVALID_DATA) {
        DWORD length = 0;
        result = library.getString(path.c_str(), &length, nullptr);
        text.resize(length);
        if (result == ERROR_SUCCESS) result = library.getString(path.c_str(), &length, text.data());
    }
    Check(result, L"can't read " + path);
    Print(Stream::Output, text + L"\n");
}

void Put(const std::wstring& path, std::wstring_view value, bool asText) {
    const SupportLibrary library;
    const auto number = asText ? std::nullopt : ParseNumber(value);
    Check(number ? library.putLong(path.c_str(), static_cast<LONG>(*number))
                 : library.putString(path.c_str(), std::wstring(value).c_str()),
          L"can't write " + path);
}

// A parameter, or else a section with everything beneath; also where the right to do so was taken away.
void Delete(const std::wstring& path) {
    const Store store(Store::Rights::Ignored);
    DWORD result = store.DeleteParameter(path.c_str());
    if (result == ERROR_FILE_NOT_FOUND || result == ERROR_BAD_PATHNAME) result = store.DeleteSection(path.c_str());
    Check(result, L"can't delete " + path);
}

void ChangeRights(const std::wstring& text, DWORD (*change)(const StorePath&), const wchar_t* what) {
    const auto path = StorePath::Parse(text.c_str());
    Check(path ? change(*path) : ERROR_BAD_PATHNAME, what + text);
}

}  // namespace

bool RunStore(Arguments arguments) {
    if (arguments.size() < 2) return false;
    const std::wstring_view verb = arguments[0];
    const std::wstring path(arguments[1]);
    const Arguments rest = arguments.subspan(2);
    if (verb == L"put") {
        const bool first = rest.size() == 2 && rest[0] == L"--text";
        const bool last = rest.size() == 2 && !first && rest[1] == L"--text";
        if (rest.size() != 1 && !first && !last) return false;
        Put(path, rest[first ? 1 : 0], first || last);
        return true;
    }
    if (!rest.empty()) return false;
    if (verb == L"get") {
        Get(path);
    } else if (verb == L"del") {
        Delete(path);
    } else if (verb == L"deny") {
        ChangeRights(path, Deny, L"can't deny ");
    } else if (verb == L"allow") {
        ChangeRights(path, Allow, L"can't allow ");
    } else {
        return false;
    }
    return true;
}

bool RunSetting(Arguments arguments) {
    if (arguments.size() != 1) return false;
    const std::wstring argument(arguments[0]);
    const std::size_t equals = argument.find(L'=');
    if (equals == std::wstring::npos) return false;
    const std::wstring name = argument.substr(0, equals);
    const std::wstring value = argument.substr(equals + 1);
    const auto number = ParseNumber(value);
    Check(value.empty() || number ? ERROR_SUCCESS : ERROR_INVALID_DATA, L"not a number: " + value);
    for (const Setting* setting : kSettings) {
        if (setting->name != name) continue;
        Check(number ? WriteSetting(*setting, *number) : ClearSetting(*setting), L"can't set " + argument);
        return true;
    }
    throw Failure{L"no such setting: " + name, ERROR_FILE_NOT_FOUND};
}

}  // namespace softcsp
