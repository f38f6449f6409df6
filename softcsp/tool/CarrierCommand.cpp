// "carrier": removable carriers, plugged in and pulled out.
#include "softcsp/common/Carriers.h"

#include <algorithm>

#include "softcsp/tool/Commands.h"
#include "softcsp/tool/Console.h"

namespace softcsp {
namespace {

constexpr Option kRoom[] = {{L"--room", 1}};

DWORD Add(const Options& options) {
    Carrier carrier{.name = options.Names()[0], .removable = true};
    if (const auto room = options.Value(kRoom->name)) {
        const auto bytes = ParseNumber(*room);
        if (!bytes) throw WrongUsage{L"--room takes a number of bytes"};
        carrier.room = *bytes;
    }
    return AddCarrier(carrier);
}

DWORD Plug(const std::wstring& name, bool present) {
    auto carriers = Carriers();
    const auto carrier = std::find_if(carriers.begin(), carriers.end(),
                                      [&](const Carrier& one) { return one.removable && one.name == name; });
    if (carrier == carriers.end()) return ERROR_FILE_NOT_FOUND;
    carrier->present = present;
    return UpdateCarrier(*carrier);
}

void List() {
    for (const Carrier& carrier : Carriers())
        Print(Stream::Output, carrier.name + L"\t" + (carrier.removable ? L"removable, " : L"") +
                                  (carrier.present ? L"present" : L"ejected") +
                                  (carrier.room != MAXDWORD ? L", room " + std::to_wstring(carrier.room) : L"") +
                                  L"\n");
}

}  // namespace

bool RunCarrier(Arguments arguments) {
    if (arguments.empty()) return false;
    const std::wstring_view verb = arguments[0];
    const bool add = verb == L"add", list = verb == L"list";
    const std::size_t names = list ? 0 : 1;
    const Options options(arguments.subspan(1), std::span(kRoom).first(add ? 1 : 0), {names, names});
    if (list) {
        List();
        return true;
    }
    const std::wstring& name = options.Names()[0];
    if (add) {
        Check(Add(options), L"can't add the carrier " + name);
    } else if (verb == L"eject" || verb == L"insert") {
        Check(Plug(name, verb == L"insert"), L"can't " + std::wstring(verb) + L" the carrier " + name);
    } else if (verb == L"remove") {
        Check(RemoveCarrier(name), L"can't remove the carrier " + name);
    } else {
        return false;
    }
    return true;
}

}  // namespace softcsp
