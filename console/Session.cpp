#include "console/Session.h"

#include <winscard.h>

#include <atomic>

#include "applet/services/Strings.h"
#include "resources/console.h"

namespace {

// The handler is called on a thread of the system without any argument of the program.
std::atomic<bool> cancelKeyPressed = false;

BOOL WINAPI OnCancelKey(DWORD event) noexcept {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    return !cancelKeyPressed.exchange(true);  // the second time the system ends the program
}

// Services and remote shells run on a desktop that nobody sees.
bool HasVisibleDesktop() noexcept {
    USEROBJECTFLAGS flags{};
    return GetUserObjectInformationW(GetProcessWindowStation(), UOI_FLAGS, &flags, sizeof flags, nullptr) &&
           (flags.dwFlags & WSF_VISIBLE) != 0;
}

// Shows nothing of what is typed, until the scope ends.
class HiddenInput {
  public:
    explicit HiddenInput(HANDLE console) noexcept : console_(console) {
        GetConsoleMode(console_, &mode_);
        SetConsoleMode(console_, mode_ & ~DWORD{ENABLE_ECHO_INPUT});
    }
    ~HiddenInput() { SetConsoleMode(console_, mode_); }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

  private:
    HANDLE console_;
    DWORD mode_ = 0;
};

constexpr std::size_t kLongestPin = 255;  // characters

// A line in a buffer of a fixed place, which can be wiped.
struct PinLine {
    std::array<wchar_t, kLongestPin + 3> text{};  // with the line's end
    DWORD length = 0;
    ~PinLine() { SecureZeroMemory(text.data(), sizeof text); }
};

Result<> ReadConsoleLine(HANDLE input, PinLine& line) noexcept {
    const HiddenInput hidden(input);
    const Result<> read =
        Try(ReadConsoleW(input, line.text.data(), static_cast<DWORD>(line.text.size() - 1), &line.length, nullptr));
    return read && line.length == 0 ? Failure{ERROR_CANCELLED} : read;  // Ctrl+C
}

Result<> ReadPipeLine(HANDLE input, PinLine& line) noexcept {
    std::array<char, 4 * kLongestPin> bytes{};
    DWORD length = 0, got = 0;
    char byte = 0;
    while (ReadFile(input, &byte, 1, &got, nullptr) && got == 1 && byte != '\n') {
        if (length == bytes.size()) return Failure{ERROR_INVALID_DATA};
        bytes[length++] = byte;
    }
    line.length =
        static_cast<DWORD>(MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), static_cast<int>(length),
                                               line.text.data(), static_cast<int>(line.text.size() - 1)));
    SecureZeroMemory(bytes.data(), bytes.size());
    return length > 0 && line.length == 0 ? Failure{ERROR_INVALID_DATA} : Result<>();
}

}  // namespace

Result<> Pin::Read(HANDLE input) {
    PinLine line;
    if (const Result<> read = IsConsole(input) ? ReadConsoleLine(input, line) : ReadPipeLine(input, line); !read)
        return read;
    while (line.length > 0 && (line.text[line.length - 1] == L'\r' || line.text[line.length - 1] == L'\n'))
        --line.length;
    line.text[line.length] = L'\0';
    if (line.length > kLongestPin) return Failure{ERROR_INVALID_DATA};
    BOOL replaced = FALSE;
    const int converted =
        WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, line.text.data(), -1, reinterpret_cast<char*>(text_.data()),
                            static_cast<int>(text_.size()), nullptr, &replaced);
    if (converted > 0 && !replaced) return {};
    Wipe();
    return Failure{ERROR_INVALID_DATA};
}

Session::Session(Output& output, const CommonOptions& options, Pin& pin)
    : output_(output), pin_(pin), silent_(options.silent || options.pinOnInput || !HasVisibleDesktop()) {}

Result<> Session::Open(CCryptProvContext& context, const ContainerPlace& place, DWORD flags) {
    const Result<> opened =
        context.Acquire(flags | SilentFlag() | FlagOf(place.keySet), place.name.empty() ? nullptr : place.name.c_str(),
                        place.provider.c_str(), place.providerType);
    if (!opened || place.name.empty() || !context) return opened;  // a deletion returns no handle
    const Result<> given = GivePin(context.Get());
    if (!given) context.Release();
    return given;
}

Result<> Session::GivePin(HCRYPTPROV container) noexcept {
    if (pin_.Empty()) return {};
    return Try(CryptSetProvParam(container, PP_KEYEXCHANGE_PIN, pin_.Get(), 0)).Then([&] {
        return Try(CryptSetProvParam(container, PP_SIGNATURE_PIN, pin_.Get(), 0));
    });
}

Answer Session::Ask(const std::wstring& question) {
    const HANDLE input = GetStdHandle(STD_INPUT_HANDLE);
    if (!IsConsole(input)) return Answer::NoTerminal;
    output_.Message(question + L" " + LoadStringLang(IDS_YES_OR_NO));
    wchar_t line[64];
    DWORD length = 0;
    if (!ReadConsoleW(input, line, static_cast<DWORD>(std::size(line)), &length, nullptr) || length == 0) {
        Cancel();
        return Answer::No;
    }
    // The letters that mean yes, in both cases and in both languages: a keyboard may be set to the other one.
    const bool yes = LoadStringLang(IDS_YES_LETTERS).find(line[0]) != std::wstring::npos;
    return yes ? Answer::Yes : Answer::No;
}

bool Session::Cancelled() const noexcept {
    return cancelled_ || cancelKeyPressed;
}

void WatchCancelKey() noexcept {
    SetConsoleCtrlHandler(&OnCancelKey, TRUE);
}

bool IsCancellation(Failure failure) noexcept {
    return failure.Is(ERROR_CANCELLED) || failure.Is(static_cast<DWORD>(SCARD_W_CANCELLED_BY_USER));
}
