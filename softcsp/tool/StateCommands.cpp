// "store", "set SETTING=VALUE", "carrier" and "calls": the state of the machine that the provider runs on.
#include <algorithm>

#include "softcsp/common/CallRecord.h"
#include "softcsp/common/Carriers.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Text.h"
#include "softcsp/tool/Command.h"
#include "softcsp/tool/Containers.h"

namespace softcsp {
namespace {

// Numbers and flags are shown as decimals, texts as they are.
void ShowParameter(const std::wstring& path) {
    StoreValue value;
    std::wstring text;
    DWORD number = 0;
    DWORD result = Store().Find(path.c_str(), value);
    if (result == ERROR_SUCCESS && value.data.Number(number) == ERROR_SUCCESS)
        text = std::to_wstring(number);
    else if (result == ERROR_SUCCESS)
        result = value.data.Text(text);
    Check(result, L"can't read " + path);
    Print(Stream::Output, text + L"\n");
}

void WriteParameter(const std::wstring& path, std::wstring_view value, bool asText) {
    const auto number = asText ? std::nullopt : ParseNumber(value);
    Check(number ? Store().WriteNumber(path.c_str(), *number) : Store().WriteText(path.c_str(), std::wstring(value)),
          L"can't write " + path);
}

// A parameter, or else a section with everything beneath, even if the right to do so was withdrawn.
void RemoveEntry(const std::wstring& path) {
    const Store store(Store::Denials::Ignored);
    DWORD result = store.RemoveParameter(path.c_str());
    if (result == ERROR_FILE_NOT_FOUND || result == ERROR_BAD_PATHNAME) result = store.RemoveSection(path.c_str());
    Check(result, L"can't delete " + path);
}

void ChangeRights(const std::wstring& text, DWORD (*change)(const StorePath&), const wchar_t* what) {
    const auto path = StorePath::Parse(text.c_str());
    Check(path ? change(*path) : ERROR_BAD_PATHNAME, what + text);
}

constexpr Option kRoom[] = {{L"--room", 1}};

DWORD AddCarrier(const Options& options) {
    Carrier carrier{.name = options.Names()[0], .removable = true};
    if (const auto room = options.Value(kRoom->name)) {
        const auto bytes = ParseNumber(*room);
        if (!bytes) throw WrongUsage{L"--room takes a number of bytes"};
        carrier.room = *bytes;
    }
    return softcsp::AddCarrier(carrier);
}

DWORD InsertCarrier(const std::wstring& name, bool present) {
    auto carriers = Carriers();
    const auto carrier = std::find_if(carriers.begin(), carriers.end(),
                                      [&](const Carrier& one) { return one.removable && one.name == name; });
    if (carrier == carriers.end()) return ERROR_FILE_NOT_FOUND;
    carrier->present = present;
    return UpdateCarrier(*carrier);
}

void ListCarriers() {
    for (const Carrier& carrier : Carriers())
        Print(Stream::Output, carrier.name + L"\t" + (carrier.removable ? L"removable, " : L"") +
                                  (carrier.present ? L"present" : L"ejected") +
                                  (carrier.room != MAXDWORD ? L", room " + std::to_wstring(carrier.room) : L"") +
                                  L"\n");
}

std::wstring CountsText(const CallCounts& counts) {
    std::wstring text;
    for (std::size_t i = 0; i < counts.calls.size(); ++i)
        if (counts.calls[i] != 0) text += kProviderEntries[i] + (L' ' + std::to_wstring(counts.calls[i])) + L'\n';
    for (std::size_t i = 0; i < counts.open.size(); ++i)
        text += std::wstring(L"open ") + kHandleKinds[i] + L' ' + std::to_wstring(counts.open[i]) + L'\n';
    return text;
}

}  // namespace

bool RunStore(Arguments arguments) {
    if (arguments.size() < 2) return false;
    const std::wstring_view verb = arguments[0];
    const std::wstring path(arguments[1]);
    if (verb == L"put") {
        constexpr Option known[] = {{L"--text"}};
        const Options options(arguments.subspan(2), known, {1, 1});
        WriteParameter(path, options.Names()[0], options.Has(known->name));
        return true;
    }
    if (arguments.size() > 2) return false;
    if (verb == L"get") {
        ShowParameter(path);
    } else if (verb == L"del") {
        RemoveEntry(path);
    } else if (verb == L"deny") {
        ChangeRights(path, Deny, L"can't deny ");
    } else if (verb == L"allow") {
        ChangeRights(path, Allow, L"can't allow ");
    } else {
        return false;
    }
    return true;
}

bool RunSetting(const std::wstring& argument) {
    const std::size_t equals = argument.find(L'=');
    if (equals == std::wstring::npos) return false;
    const std::wstring name = argument.substr(0, equals), value = argument.substr(equals + 1);
    const auto number = ParseNumber(value);
    Check(value.empty() || number ? ERROR_SUCCESS : ERROR_INVALID_DATA, L"not a number: " + value);
    for (const Setting* setting : kSettings) {
        if (setting->name != name) continue;
        Check(number ? WriteSetting(*setting, *number) : ClearSetting(*setting), L"can't set " + argument);
        return true;
    }
    throw Failure{L"no such setting: " + name, ERROR_FILE_NOT_FOUND};
}

bool RunCarrier(Arguments arguments) {
    if (arguments.empty()) return false;
    const std::wstring_view verb = arguments[0];
    const bool add = verb == L"add", list = verb == L"list";
    const std::size_t names = list ? 0 : 1;
    const Options options(arguments.subspan(1), std::span(kRoom).first(add ? 1 : 0), {names, names});
    if (list) {
        ListCarriers();
        return true;
    }
    const std::wstring& name = options.Names()[0];
    if (add) {
        Check(AddCarrier(options), L"can't add the carrier " + name);
    } else if (verb == L"eject" || verb == L"insert") {
        Check(InsertCarrier(name, verb == L"insert"), L"can't " + std::wstring(verb) + L" the carrier " + name);
    } else if (verb == L"remove") {
        Check(RemoveCarrier(name), L"can't remove the carrier " + name);
    } else {
        return false;
    }
    return true;
}

bool RunCalls(Arguments arguments) {
    constexpr Option known[] = {{L"--start"}, {L"--stop"}};
    const Options options(arguments, known, {1, 1});
    const std::wstring& program = options.Names()[0];
    const bool start = options.Has(known[0].name), stop = options.Has(known[1].name);
    if (start && stop) return false;
    CallCounts counts{};
    if (start) {
        Check(StartCallRecord(program), L"can't count the calls of " + program);
    } else if (stop) {
        Check(StopCallRecord(program), L"can't stop counting the calls of " + program);
    } else {
        Check(ReadCallRecord(program, counts), L"can't read the counts of " + program);
        Print(Stream::Output, CountsText(counts));
    }
    return true;
}

}  // namespace softcsp
