#include "console/Arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cwchar>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "applet/services/Strings.h"
#include "framework/Text.h"
#include "resources/console.h"
#include "resources/version.h"

namespace {

constexpr wchar_t kProgram[] = L"vestractl";

std::wstring Wide(const char* ascii) {
    return {ascii, ascii + std::string_view(ascii).size()};
}

// What is wrong with the command line.
struct UsageError {
    std::wstring text;
};

// The arguments as the parser receives them: each value is replaced by its number. The parser would otherwise interpret
// values: "[a,b]" would become two, and one that is the name of a command would begin that command.
class EncodedArguments {
  public:
    explicit EncodedArguments(std::span<const std::wstring> arguments) {
        bool onlyValues = false;
        for (const std::wstring& argument : arguments) {
            if (onlyValues || !argument.starts_with(L'-')) {
                encoded_.push_back(!onlyValues && IsCommandWord(argument) ? ToUtf8(argument) : Encode(argument));
            } else if (const std::size_t equals = argument.find(L'='); equals != std::wstring::npos) {
                encoded_.push_back(ToUtf8(argument.substr(0, equals + 1)) + Encode(argument.substr(equals + 1)));
            } else {
                encoded_.push_back(ToUtf8(argument));
            }
            onlyValues = onlyValues || argument == L"--";
        }
    }

    // In the order that the parser requires: the first one last.
    std::vector<std::string> Reversed() const { return {encoded_.rbegin(), encoded_.rend()}; }

    std::wstring Decode(const std::string& encoded) const {
        if (encoded.empty() || encoded.front() != kMark) return FromUtf8(encoded);
        return values_.at(std::stoul(encoded.substr(1)));
    }

  private:
    static constexpr char kMark = '\x01';

    std::string Encode(const std::wstring& value) {
        values_.push_back(value);
        return kMark + std::to_string(values_.size() - 1);
    }

    // Whether the argument is the next word of a command: first its name, then the second word if there is one.
    bool IsCommandWord(const std::wstring& argument) {
        if (complete_) return false;
        const std::string word = ToUtf8(argument);
        const auto entries = Commands();
        const auto entry = std::find_if(entries.begin(), entries.end(), [&](const CommandEntry& one) {
            return command_.empty() ? word == one.name : command_ == one.name && one.part && word == one.part;
        });
        if (entry == entries.end()) return false;
        complete_ = !command_.empty() || !entry->part;
        command_ = entry->name;
        return true;
    }

    std::vector<std::string> encoded_;
    std::vector<std::wstring> values_;
    std::string command_;
    bool complete_ = false;
};

// A parameter as the help shows it.
struct HelpRow {
    std::wstring name;
    UINT help;
};

// The parameters of one command, or those that all have: declared to the parser, kept for the help, and stored in their
// targets after the parsing.
class Declared final : public Parameters {
  public:
    explicit Declared(CLI::App& parser) : parser_(parser) {}

    void Argument(UINT value, UINT help, std::wstring& target) override {
        Positional(LoadStringLang(value), help, true, [&target](const auto& values) { target = values.front(); });
    }

    void Arguments(UINT value, UINT help, std::vector<std::wstring>& target) override {
        Positional(LoadStringLang(value), help, false, [&target](const auto& values) { target = values; });
    }

    void Flag(const char* name, UINT help, bool& target) override {
        parser_.add_flag(name, target);
        options_.push_back({Wide(name), help});
    }

    void Option(const char* name, UINT value, UINT help, std::optional<std::wstring>& target) override {
        Single(name, value, help, [&target](const std::wstring& text) { target = text; });
    }

    void Number(const char* name, UINT value, UINT help, int& target, int least, int most) override {
        Single(name, value, help, [=, &target](const std::wstring& text) {
            wchar_t* end = nullptr;
            const long long number = std::wcstoll(text.c_str(), &end, 10);
            if (text.empty() || *end || !std::iswdigit(text.back()) || number < least || number > most)
                throw UsageError{FormatStringId(IDS_USAGE_NUMBER, Wide(name),
                                                std::to_wstring(least) + L"–" + std::to_wstring(most))};
            target = static_cast<int>(number);
        });
    }

    // Stores what was parsed. `values` are the arguments that are no options.
    void Store(const EncodedArguments& arguments) const {
        for (const auto& store : stores_) store(arguments);
    }
    void StoreValues(std::span<const std::wstring> values) const {
        for (const Place& place : places_) {
            if (place.single && values.empty()) throw UsageError{FormatStringId(IDS_USAGE_MISSING, place.name)};
            const std::size_t taken = place.single ? 1 : values.size();
            if (taken > 0) place.store({values.begin(), values.begin() + static_cast<std::ptrdiff_t>(taken)});
            values = values.subspan(taken);
        }
        if (!values.empty()) throw UsageError{FormatStringId(IDS_USAGE_EXTRA, values.front())};
    }

    const std::vector<HelpRow>& ValueRows() const { return values_; }
    const std::vector<HelpRow>& OptionRows() const { return options_; }

  private:
    struct Place {
        std::wstring name;
        bool single;
        std::function<void(const std::vector<std::wstring>&)> store;
    };

    void Positional(const std::wstring& name, UINT help, bool single, decltype(Place::store) store) {
        places_.push_back({name, single, std::move(store)});
        values_.push_back({name, help});
    }

    void Single(const char* name, UINT value, UINT help, std::function<void(const std::wstring&)> store) {
        CLI::Option* option = parser_.add_option(name);
        stores_.emplace_back([option, store = std::move(store)](const EncodedArguments& arguments) {
            if (option->count() > 0) store(arguments.Decode(option->as<std::string>()));
        });
        options_.push_back({Wide(name) + L" " + LoadStringLang(value), help});
    }

    CLI::App& parser_;
    std::vector<std::function<void(const EncodedArguments&)>> stores_;
    std::vector<Place> places_;
    std::vector<HelpRow> values_, options_;
};

// The help.

constexpr std::size_t kLineWidth = 80;  // characters, of a console

// `text` in lines of `width`, each indented; the first begins after `head`.
std::wstring Wrapped(const std::wstring& head, std::size_t indent, const std::wstring& text) {
    std::wstring result = head + std::wstring(indent - std::min(indent, head.size()), L' ');
    std::size_t column = std::max(indent, head.size());
    if (!head.empty() && head.size() >= indent) {
        result += L"\r\n" + std::wstring(indent, L' ');
        column = indent;
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(L' ', at), text.size());
        if (column > indent && column + 1 + end - at > kLineWidth) {
            result += L"\r\n" + std::wstring(indent, L' ');
            column = indent;
        } else if (column > indent) {
            result += L' ';
            ++column;
        }
        result += text.substr(at, end - at);
        column += end - at;
        at = end + 1;
    }
    return result + L"\r\n";
}

std::wstring Rows(UINT title, const std::vector<HelpRow>& rows) {
    constexpr std::size_t kColumn = 26;
    if (rows.empty()) return {};
    std::wstring text = L"\r\n" + LoadStringLang(title) + L"\r\n";
    for (const HelpRow& row : rows) text += Wrapped(L"  " + row.name, kColumn, LoadStringLang(row.help));
    return text;
}

std::wstring FullName(const CommandEntry& entry) {
    return Wide(entry.name) + (entry.part ? L" " + Wide(entry.part) : L"");
}

std::wstring CommandList(const char* only) {
    std::vector<HelpRow> rows;
    for (const CommandEntry& entry : Commands())
        if (!only || std::string_view(only) == entry.name) rows.push_back({FullName(entry), entry.summary});
    return Rows(IDS_HELP_COMMANDS, rows);
}

std::wstring ProgramHelp(const Declared& common, const char* group) {
    const std::wstring name = group ? L" " + Wide(group) : L"";
    return FormatStringId(IDS_HELP_USAGE, std::wstring(kProgram) + name + L" " + LoadStringLang(IDS_HELP_COMMAND)) +
           L"\r\n" + (group ? L"" : L"\r\n" + Wrapped({}, 0, LoadStringLang(IDS_HELP_PROGRAM))) + CommandList(group) +
           Rows(IDS_HELP_COMMON_OPTIONS, common.OptionRows()) + L"\r\n" + LoadStringLang(IDS_HELP_EXIT_CODES);
}

std::wstring CommandHelp(const CommandEntry& entry, const Declared& own, const Declared& common) {
    std::wstring usage = std::wstring(kProgram) + L" " + FullName(entry);
    for (const HelpRow& row : own.ValueRows()) usage += L" " + row.name;
    if (!own.OptionRows().empty()) usage += L" " + LoadStringLang(IDS_HELP_OPTIONS_PLACE);
    return FormatStringId(IDS_HELP_USAGE, Insert::AsItIs(usage)) + L"\r\n\r\n" +
           Wrapped({}, 0, LoadStringLang(entry.summary)) + Rows(IDS_HELP_ARGUMENTS, own.ValueRows()) +
           Rows(IDS_HELP_OPTIONS, own.OptionRows()) + Rows(IDS_HELP_COMMON_OPTIONS, common.OptionRows()) + L"\r\n" +
           LoadStringLang(IDS_HELP_EXAMPLE) + L"\r\n" + LoadStringLang(entry.example);
}

// The parser with all commands.

struct Candidate {
    const CommandEntry* entry;
    CLI::App* parser;
    std::unique_ptr<Command> command;
    std::unique_ptr<Declared> declared;
};

class CommandLine {
  public:
    explicit CommandLine(std::span<const std::wstring> arguments) : encoded_(arguments) {
        parser_.set_help_flag();
        parser_.allow_windows_style_options(false);
        parser_.allow_extras();
        parser_.fallthrough();
        DeclareCommon();
        for (const CommandEntry& entry : Commands()) Add(entry);
    }

    Request Parse() {
        try {
            parser_.parse(encoded_.Reversed());
            return Interpret();
        } catch (const CLI::ParseError& error) {
            // The parser's message is English; it begins with the option that it is about.
            const std::string text = error.what();
            return Wrong(FormatStringId(IDS_USAGE_OPTION, FromUtf8(text.substr(0, text.find_first_of(": ")))));
        } catch (const UsageError& error) {
            return Wrong(error.text);
        }
    }

  private:
    void DeclareCommon() {
        common_.Flag("--help", IDS_OPTION_HELP, help_);
        common_.Flag("--version", IDS_OPTION_VERSION, version_);
        common_.Option("--lang", IDS_VALUE_LANGUAGE, IDS_OPTION_LANGUAGE, language_);
        common_.Flag("--json", IDS_OPTION_JSON, options_.json);
        common_.Flag("--silent", IDS_OPTION_SILENT, options_.silent);
        common_.Flag("--pin-stdin", IDS_OPTION_PIN, options_.pinOnInput);
    }

    void Add(const CommandEntry& entry) {
        CLI::App* parent = &parser_;
        if (entry.part) {
            CLI::App*& group = groups_[entry.name];
            if (!group) group = AddParser(parser_, entry.name);
            parent = group;
        }
        CLI::App* parser = AddParser(*parent, entry.part ? entry.part : entry.name);
        candidates_.push_back({&entry, parser, entry.make(), std::make_unique<Declared>(*parser)});
        candidates_.back().command->Declare(*candidates_.back().declared);
    }

    static CLI::App* AddParser(CLI::App& parent, const char* name) {
        CLI::App* parser = parent.add_subcommand(name);
        parser->set_help_flag();
        parser->allow_extras();
        parser->fallthrough();
        return parser;
    }

    Candidate* Chosen() {
        const auto found = std::find_if(candidates_.begin(), candidates_.end(),
                                        [](const Candidate& candidate) { return candidate.parser->parsed(); });
        return found != candidates_.end() ? &*found : nullptr;
    }

    // The name of a group whose second word is missing; nullptr when no group is named.
    const char* ChosenGroup() {
        for (const auto& [name, parser] : groups_)
            if (parser->parsed()) return name.c_str();
        return nullptr;
    }

    Request Interpret() {
        common_.Store(encoded_);
        if (language_ && *language_ != L"en" && *language_ != L"ru")
            throw UsageError{FormatStringId(IDS_USAGE_LANGUAGE, *language_)};
        if (version_) return Text(std::wstring(kProgram) + L" " + Wide(VERSION_TEXT));
        Candidate* chosen = Chosen();
        if (help_)
            return Text(chosen ? CommandHelp(*chosen->entry, *chosen->declared, common_)
                               : ProgramHelp(common_, ChosenGroup()));
        const std::vector<std::wstring> values = Values();
        if (!chosen)
            throw UsageError{values.empty() ? LoadStringLang(IDS_USAGE_NO_COMMAND)
                                            : FormatStringId(IDS_USAGE_COMMAND, values.front())};
        chosen->declared->Store(encoded_);
        chosen->declared->StoreValues(values);
        if (const std::wstring wrong = chosen->command->WrongUsage(); !wrong.empty()) throw UsageError{wrong};
        return {.options = options_, .name = Name(), .command = std::move(chosen->command), .text = {}, .problem = {}};
    }

    // What the parser found to be no option and no command. An unknown option is among it.
    std::vector<std::wstring> Values() const {
        std::vector<std::wstring> values;
        for (const std::string& one : parser_.remaining(true)) {
            if (one == "--") continue;
            if (one.starts_with('-')) throw UsageError{FormatStringId(IDS_USAGE_UNKNOWN_OPTION, FromUtf8(one))};
            values.push_back(encoded_.Decode(one));
        }
        return values;
    }

    std::string Name() {
        const Candidate* chosen = Chosen();
        return chosen ? ToUtf8(FullName(*chosen->entry)) : std::string();
    }

    Request Text(std::wstring text) const {
        return {.options = options_, .name = {}, .command = {}, .text = std::move(text), .problem = {}};
    }

    Request Wrong(const std::wstring& problem) {
        const std::wstring help = L"vestractl " + FromUtf8(Name() + (Name().empty() ? "" : " ")) + L"--help";
        return {.options = options_,
                .name = Name(),
                .command = {},
                .text = {},
                .problem = problem + L" " + FormatStringId(IDS_USAGE_SEE_HELP, help)};
    }

    EncodedArguments encoded_;
    CLI::App parser_;
    Declared common_{parser_};
    bool help_ = false, version_ = false;
    std::optional<std::wstring> language_;
    CommonOptions options_;
    std::map<std::string, CLI::App*> groups_;  // of commands of two words, by the first
    std::vector<Candidate> candidates_;
};

}  // namespace

Request ParseArguments(std::span<const std::wstring> arguments) {
    return CommandLine(arguments).Parse();
}

LANGID RequestedLanguage(std::span<const std::wstring> arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool next = arguments[i] == L"--lang" && i + 1 < arguments.size();
        const std::wstring& value = next ? arguments[i + 1] : arguments[i];
        if (value == (next ? L"en" : L"--lang=en")) return kEnglish;
        if (value == (next ? L"ru" : L"--lang=ru")) return kRussian;
    }
    return 0;
}

bool RequestsJson(std::span<const std::wstring> arguments) {
    return std::find(arguments.begin(), arguments.end(), L"--json") != arguments.end();
}
