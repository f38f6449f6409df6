// softcsp.exe: the software provider's tool.
#include <windows.h>
#include <winscard.h>

#include <algorithm>
#include <cwchar>
#include <exception>
#include <utility>
#include <vector>

#include "softcsp/common/Settings.h"
#include "softcsp/common/Text.h"
#include "softcsp/tool/Command.h"

namespace {

using softcsp::Arguments;
using softcsp::Print;
using softcsp::Stream;

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

struct Command {
    std::wstring_view name;
    void (*run)(Arguments arguments);
    const wchar_t* help;
};

constexpr Command kCommands[] = {
    {L"init", softcsp::RunInit,
     L"  init [--reset]\n"
     L"      register the provider on this machine; with --reset the store, denied paths and settings go first\n"},
    {L"create", softcsp::RunCreate,
     L"  create NAME [SCOPE] [--keys KEYS] [--certs KEYS] [--exportable] [--password TEXT] [--subject DN]\n"
     L"         [--not-before DAY] [--not-after DAY] [--usage FROM TO] [--chain N] [--carrier NAME]\n"
     L"      create a container; KEYS is xs, x, s or none: of exchange and signature. Without options: an exchange\n"
     L"      key with a certificate for CN=NAME, valid for a year from yesterday, on the carrier REGISTRY.\n"
     L"      --usage gives the certificate a private key usage period, --chain a number of authorities above it,\n"
     L"      whose certificates the container contains as well\n"},
    {L"list", softcsp::RunList, L"  list [SCOPE]\n      show the containers of all carriers that are inserted\n"},
    {L"show", softcsp::RunShow, L"  show NAME [SCOPE]\n      show what is in a container\n"},
    {L"remove", softcsp::RunRemove, L"  remove NAME [SCOPE]\n      remove a container\n"},
    {L"certificate", softcsp::RunCertificate,
     L"  certificate NAME... --key x|s --out FILE [SCOPE] [--format der|base64|p7b|sst] [--password TEXT]\n"
     L"              [--subject DN] [--not-before DAY] [--not-after DAY]\n"
     L"      write a file with new self-signed certificates, one for that key of each container. The format\n"
     L"      is der, or p7b or sst if the file has that extension; only these two hold several certificates\n"},
    {L"set", softcsp::RunSet,
     L"  set NAME WHAT=VALUE [SCOPE] [--password TEXT]\n"
     L"      change a container:\n"
     L"        integrity=BITS              what its check reports in addition to real damage\n"
     L"        damage=0|1|2                1 makes its digest wrong, 2 makes it unreadable, 0 undoes 1\n"
     L"        certificate-x=other|none    (or -s) a certificate of another key, or none\n"
     L"        extension=OID:CRITICAL:HEX  one more extension; extension=none removes all\n"
     L"        exportable=0|1              whether both keys may be exported\n"
     L"  set SETTING=VALUE\n"
     L"      change what the provider reports; without VALUE the default is back\n"},
    {L"carrier", softcsp::RunCarrier,
     L"  carrier add NAME [--room BYTES]\n"
     L"      add a removable carrier, inserted; upper-case letters, digits, _ and -\n"
     L"  carrier eject|insert|remove NAME\n"
     L"      eject it, insert it, or remove it from the list; its containers stay\n"
     L"  carrier list\n"},
    {L"store", softcsp::RunStore,
     L"  store get PATH\n"
     L"      show a parameter of the configuration store\n"
     L"  store put PATH VALUE [--text]\n"
     L"      write it: a decimal or 0x number, else (or with --text) a text\n"
     L"  store del PATH\n"
     L"      delete a parameter, or a section with everything beneath\n"
     L"  store deny|allow PATH\n"
     L"      withdraw the rights to write and remove a section or parameter and everything beneath, or\n"
     L"      restore them\n"},
};

constexpr wchar_t kTerms[] =
    L"\n"
    L"SCOPE is --machine for the computer's containers instead of the user's, --provider NAME for another\n"
    L"provider's. NAME of a container is NAME, CARRIER\\NAME or \\\\.\\CARRIER\\NAME. DAY is 2026-01-31, from\n"
    L"midnight UTC. PATH is \\scope\\section\\...\\name, such as \\config\\Parameters\\DisableWL; scopes: config,\n"
    L"global, local.\n"
    L"\n"
    L"The provider is for 64-bit programs. It encrypts no messages (envelopes), exports no PFX files and has no\n"
    L"part in TLS connections of the system (Schannel).\n"
    L"\n"
    L"Settings:\n";

std::wstring Help() {
    std::wstring help = L"softcsp - the tool of the software provider for development and tests\n\n";
    for (const Command& command : kCommands) help += command.help;
    help += kTerms;
    for (const softcsp::Setting* setting : softcsp::kSettings) {
        std::wstring name = std::wstring(L"  ") + setting->name;
        name.resize(std::max<std::size_t>(name.size() + 1, 18), L' ');  // a column
        help += name + softcsp::Wide(setting->meaning) + L" (default " + std::to_wstring(setting->missing) + L")\n";
    }
    return help + L"\nExit code: 0 done, 1 failed, 2 wrong usage.\n";
}

// The system has no texts for most of the codes of CryptoAPI and of smart cards.
constexpr std::pair<HRESULT, const wchar_t*> kCodeTexts[] = {
    {NTE_BAD_KEYSET, L"there is no such container"},    {NTE_BAD_KEYSET_PARAM, L"not a container's name"},
    {NTE_EXISTS, L"there is such a container already"}, {NTE_KEYSET_ENTRY_BAD, L"the file is no container"},
    {NTE_KEYSET_NOT_DEF, L"there is no such carrier"},  {NTE_NO_KEY, L"there is no such key"},
    {NTE_BAD_KEY, L"the key can't be opened"},          {NTE_FAIL, L"the cryptographic library can't be used"},
    {SCARD_W_REMOVED_CARD, L"the carrier is ejected"},  {SCARD_W_WRONG_CHV, L"the password is wrong"},
};

// The code with a text from the table or from the system, without the line end of the latter.
std::wstring ErrorText(DWORD code) {
    for (const auto& [known, meaning] : kCodeTexts)
        if (softcsp::Code(known) == code) return softcsp::HexNumber(code) + L": " + meaning;
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                                  static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && iswspace(text[length - 1])) --length;
    return L"error " + std::to_wstring(code) + (length > 0 ? L": " : L"") + std::wstring(text, length);
}

int Complain(ExitCode code, const std::wstring& what) {
    Print(Stream::Error, L"softcsp: " + what + L"\n");
    return code;
}

bool AsksForHelp(std::wstring_view argument) {
    return argument == L"--help" || argument == L"-h";
}

int Run(const Command& command, Arguments arguments) {
    if (!arguments.empty() && AsksForHelp(arguments.back())) {
        Print(Stream::Output, command.help);
        return kDone;
    }
    try {
        command.run(arguments);
        return kDone;
    } catch (const softcsp::WrongUsage& usage) {
        return Complain(kUsage, usage.what + L"\n" + command.help + L"see softcsp --help");
    } catch (const softcsp::CommandFailure& failure) {
        return Complain(kFailed, failure.what + L": " + ErrorText(failure.code));
    } catch (const std::exception& problem) {
        return Complain(kFailed, softcsp::Wide(problem.what()));
    }
}

}  // namespace

int wmain(int count, wchar_t** texts) {
    const std::vector<std::wstring_view> arguments(texts + 1, texts + count);
    if (arguments.size() == 1 && AsksForHelp(arguments[0])) {
        Print(Stream::Output, Help());
        return kDone;
    }
    for (const Command& command : kCommands)
        if (!arguments.empty() && command.name == arguments[0]) return Run(command, Arguments(arguments).subspan(1));
    return Complain(kUsage, (arguments.empty() ? L"no command" : L"unknown command " + std::wstring(arguments[0])) +
                                L"; see softcsp --help");
}
