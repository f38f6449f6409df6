#include "softcsp/tool/Command.h"

#include <winscard.h>

#include <algorithm>
#include <charconv>
#include <cwchar>

#include "softcsp/common/Names.h"

namespace softcsp {
namespace {

// The provider that the options name; the first one without a name.
const ProviderName& ProviderOf(const Options& options) {
    const std::wstring name = options.Value(kProvider.name).value_or(kProviders[0].name);
    for (const ProviderName& known : kProviders)
        if (name == known.name) return known;
    throw WrongUsage{L"no such provider: " + name};
}

}  // namespace

Options::Options(Arguments arguments, std::span<const Option> known, Count names) {
    bool onlyNames = false;
    while (!arguments.empty()) {
        const std::wstring argument(arguments[0]);
        std::size_t values = 0;
        if (onlyNames || !argument.starts_with(L"--")) {
            names_.push_back(argument);
        } else if (argument == L"--") {
            onlyNames = true;
        } else {
            const auto option = std::ranges::find(known, argument, &Option::name);
            if (option == known.end()) throw WrongUsage{L"unknown option " + argument};
            values = option->values;
            if (arguments.size() <= values) throw WrongUsage{argument + L" lacks a value"};
            const bool added = given_.emplace(option->name, arguments.subspan(1, values)).second;
            if (!added) throw WrongUsage{argument + L" is given twice"};
        }
        arguments = arguments.subspan(1 + values);
    }
    if (names_.size() < names.least) throw WrongUsage{L"a name or value is missing"};
    if (names_.size() > names.most) throw WrongUsage{L"one too many: " + names_[names.most]};
}

std::optional<std::wstring> Options::Value(std::wstring_view option, std::size_t index) const {
    const auto given = given_.find(option);
    return given != given_.end() ? std::optional(std::wstring(given->second[index])) : std::nullopt;
}

std::optional<unsigned long> ParseNumber(std::wstring_view text) {
    const bool hexadecimal = text.starts_with(L"0x") || text.starts_with(L"0X");
    const std::string digits = Narrow(hexadecimal ? text.substr(2) : text);
    unsigned long number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, error] = std::from_chars(digits.data(), end, number, hexadecimal ? 16 : 10);
    return error == std::errc() && last == end ? std::optional(number) : std::nullopt;
}

std::wstring HexNumber(unsigned long number) {
    wchar_t text[16];
    swprintf(text, std::size(text), L"0x%lX", number);
    return text;
}

std::string Narrow(std::wstring_view ascii) {
    std::string narrow;
    for (const wchar_t c : ascii) narrow += c < 0x80 ? static_cast<char>(c) : '?';
    return narrow;
}

std::pair<std::wstring, std::wstring> SplitAtEquals(const std::wstring& text) {
    const std::size_t equals = text.find(L'=');
    if (equals == text.npos) throw WrongUsage{L"no WHAT=VALUE: " + text};
    return {text.substr(0, equals), text.substr(equals + 1)};
}

void Print(Stream stream, std::wstring_view text) {
    const HANDLE handle = GetStdHandle(stream == Stream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
    const auto length = static_cast<int>(text.size());
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        WriteConsoleW(handle, text.data(), static_cast<DWORD>(length), &written, nullptr);
        return;
    }
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
    WriteFile(handle, bytes.data(), static_cast<DWORD>(size), &written, nullptr);
}

void Check(DWORD code, const std::wstring& what) {
    if (code != ERROR_SUCCESS) throw CommandFailure{what, code};
}

ContainerStore StoreOf(const Options& options) {
    return {options.Has(kMachine.name) ? Owner::Computer : Owner::User, ProviderOf(options).type};
}

ContainerPlace FindContainer(const ContainerStore& store, const std::wstring& name) {
    ContainerPlace place;
    Check(store.Find(name, place), L"can't find " + name);
    return place;
}

Container LoadContainer(const ContainerStore& store, const std::wstring& name, ContainerPlace& place) {
    place = FindContainer(store, name);
    Container container;
    Check(store.Load(place, container), L"can't read " + name);
    return container;
}

const ContainerKey& KeyOf(const Container& container, bool signatureKey) {
    const auto& key = container.Key(signatureKey);
    if (!key) throw CommandFailure{container.name + L" has no " + KeyName(signatureKey) + L" key", Code(NTE_NO_KEY)};
    return *key;
}

SymmetricKey UnlockContainer(const Container& container, const Options& options) {
    const auto opening = OpeningKey(container.lock, container.lock.hasPassword ? PasswordOf(options) : Password());
    const auto master = opening ? OpenLock(container.lock, *opening) : std::nullopt;
    if (!master) throw CommandFailure{L"wrong password for " + container.name, Code(SCARD_W_WRONG_CHV)};
    return *master;
}

Password PasswordOf(const Options& options) {
    const std::wstring text = options.Value(kPassword.name).value_or(L"");
    if (text.size() > Password::kLongest) throw WrongUsage{L"the password is too long"};
    return Password(text);
}

const wchar_t* KeyName(bool signatureKey) {
    return signatureKey ? L"signature" : L"exchange";
}

}  // namespace softcsp
