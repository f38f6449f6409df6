// Session: what a command needs of its surroundings: the output, the provider's password, the user's answers, Ctrl+C.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <array>
#include <string>

#include "console/Arguments.h"
#include "console/Output.h"
#include "csp/CryptProvContext.h"
#include "framework/Result.h"

// A container as the provider's functions name it.
struct ContainerPlace {
    std::wstring provider;
    DWORD providerType = 0;
    KeySet keySet = KeySet::User;
    std::wstring name;
};

// A password in the system's ANSI code page, in which providers expect it. It is wiped at the end.
class Pin {
  public:
    Pin() = default;
    ~Pin() { Wipe(); }
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

    // Reads one line: from a console without showing it, otherwise UTF-8. Fails with ERROR_INVALID_DATA when the line
    // is too long or has characters that the code page lacks, and with ERROR_CANCELLED after Ctrl+C.
    Result<> Read(HANDLE input);

    void Wipe() noexcept { SecureZeroMemory(text_.data(), text_.size()); }
    bool Empty() const noexcept { return text_[0] == 0; }
    const BYTE* Get() const noexcept { return text_.data(); }

  private:
    std::array<BYTE, 512> text_{};
};

enum class Answer { Yes, No, NoTerminal };

class Session {
  public:
    // `pin` may be empty. Without a desktop on which a window could be seen the session is silent, whatever the options
    // say.
    Session(Output& output, const CommonOptions& options, Pin& pin);

    Output& GetOutput() noexcept { return output_; }

    // Whether the provider must not show windows.
    bool IsSilent() const noexcept { return silent_; }

    // Opens a container, or with an empty name the provider only (`flags` CRYPT_VERIFYCONTEXT), and passes the password
    // to it.
    Result<> Open(CCryptProvContext& context, const ContainerPlace& place, DWORD flags = 0);

    // Passes the password to a container that was opened otherwise.
    Result<> GivePin(HCRYPTPROV container) noexcept;

    // The flag of the calls that open a provider.
    DWORD SilentFlag() const noexcept { return silent_ ? CRYPT_SILENT : 0; }

    // Asks a question that is answered by yes or no. Without a terminal nothing is asked.
    Answer Ask(const std::wstring& question);

    // Whether the user pressed Ctrl+C, or cancelled in a window of the provider. The command ends then.
    bool Cancelled() const noexcept;
    void Cancel() noexcept { cancelled_ = true; }

  private:
    Output& output_;
    Pin& pin_;
    bool silent_;
    bool cancelled_ = false;
};

// Handles Ctrl+C from now on: the first one is noted, the second one ends the program.
void WatchCancelKey() noexcept;

// Whether the code means that the user cancelled.
bool IsCancellation(Failure failure) noexcept;
