// "store", "set SETTING=VALUE" and "carrier": the state of the machine that the provider runs on.
#include <algorithm>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Store.h"
#include "softcsp/tool/Command.h"

namespace softcsp {
namespace {

// Numbers and flags are shown as decimals, texts as they are.
void ShowParameter(const std::wstring& path) {
    std::wstring text;
    DWORD number = 0;
    DWORD result = Store().ReadNumber(path, number);
    if (result == ERROR_SUCCESS) text = std::to_wstring(number);
    if (result == ERROR_INVALID_DATA) result = Store().ReadText(path, text);
    Check(result, L"can't read " + path);
    Print(Stream::Output, text + L"\n");
}

void WriteParameter(const std::wstring& path, const std::wstring& value, bool asText) {
    const auto number = asText ? std::nullopt : ParseNumber(value);
    Check(number ? Store().WriteNumber(path.c_str(), *number) : Store().WriteText(path.c_str(), value),
          L"can't write " + path);
}

// A parameter, or else a section with everything beneath, even if the right to do so was withdrawn.
void RemoveEntry(const std::wstring& path) {
    const Store store(Store::Denials::Ignored);
    DWORD result = store.RemoveParameter(path.c_str());
    if (result == ERROR_FILE_NOT_FOUND || result == ERROR_BAD_PATHNAME) result = store.RemoveSection(path.c_str());
    Check(result, L"can't delete " + path);
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
    const auto carrier = std::ranges::find(carriers, name, &Carrier::name);
    if (carrier == carriers.end()) return ERROR_FILE_NOT_FOUND;
    carrier->present = present;
    return UpdateCarrier(*carrier);  // which fails for the registry
}

void ListCarriers() {
    for (const Carrier& carrier : Carriers())
        Print(Stream::Output, carrier.name + L"\t" + (carrier.removable ? L"removable, " : L"") +
                                  (carrier.present ? L"present" : L"ejected") +
                                  (carrier.room != MAXDWORD ? L", room " + std::to_wstring(carrier.room) : L"") +
                                  L"\n");
}

}  // namespace

void RunStore(Arguments arguments) {
    if (arguments.size() < 2) throw WrongUsage{};
    const std::wstring_view verb = arguments[0];
    const bool put = verb == L"put";
    constexpr Option known[] = {{L"--text"}};
    const std::size_t names = put ? 2 : 1;
    const Options options(arguments.subspan(1), std::span(known).first(put ? 1 : 0), {names, names});
    const std::wstring& path = options.Names()[0];
    if (put) {
        WriteParameter(path, options.Names()[1], options.Has(known->name));
    } else if (verb == L"get") {
        ShowParameter(path);
    } else if (verb == L"del") {
        RemoveEntry(path);
    } else if (verb == L"deny") {
        Check(Deny(path.c_str()), L"can't deny " + path);
    } else if (verb == L"allow") {
        Check(Allow(path.c_str()), L"can't allow " + path);
    } else {
        throw WrongUsage{};
    }
}

void RunSetting(const std::wstring& argument) {
    const auto [name, value] = SplitAtEquals(argument);
    const auto number = ParseNumber(value);
    Check(value.empty() || number ? ERROR_SUCCESS : ERROR_INVALID_DATA, L"not a number: " + value);
    const auto setting = std::ranges::find(kSettings, name, [](const Setting* one) { return std::wstring(one->name); });
    if (setting == std::end(kSettings)) throw CommandFailure{L"no such setting: " + name, ERROR_FILE_NOT_FOUND};
    Check(number ? WriteSetting(**setting, *number) : ClearSetting(**setting), L"can't set " + argument);
}

void RunCarrier(Arguments arguments) {
    if (arguments.empty()) throw WrongUsage{};
    const std::wstring verb(arguments[0]);
    const bool add = verb == L"add", list = verb == L"list";
    const std::size_t names = list ? 0 : 1;
    const Options options(arguments.subspan(1), std::span(kRoom).first(add ? 1 : 0), {names, names});
    if (list) return ListCarriers();
    const std::wstring& name = options.Names()[0];
    const std::wstring failure = L"can't " + verb + L" the carrier " + name;
    if (add) {
        Check(AddCarrier(options), failure);
    } else if (verb == L"eject" || verb == L"insert") {
        Check(InsertCarrier(name, verb == L"insert"), failure);
    } else if (verb == L"remove") {
        Check(RemoveCarrier(name), failure);
    } else {
        throw WrongUsage{};
    }
}

}  // namespace softcsp
