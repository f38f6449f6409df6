// The encodings in which certificates and what they consist of are read.
#pragma once

#include <windows.h>

#include <wincrypt.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Calls that tell their failure by the thread's last error, and values whose size the callee tells.

using Bytes = std::vector<BYTE>;

// A call's result with its code, taken at once: `Taken(CryptDoThis(…))`. A failure counts as one even when the callee
// left no code.
struct Outcome {
    bool done = false;
    DWORD error = ERROR_SUCCESS;  // of the failed call
};

inline Outcome Taken(BOOL done) noexcept {
    return {done != FALSE, done ? ERROR_SUCCESS : GetLastError()};
}

// Whether a code is this one of Windows, which some callees leave as an HRESULT.
constexpr bool IsCode(DWORD error, DWORD code) noexcept {
    return error == code || error == static_cast<DWORD>(HRESULT_FROM_WIN32(code));
}

struct BytesOutcome : Outcome {
    Bytes bytes;  // empty after a failure
};

// What the following functions call: `ask(BYTE* data, DWORD* length)` takes a buffer and its size and tells how much it
// put there, or how much room it wants.

// Asks for the length, then for the value.
template <class Ask>
BytesOutcome AskLengthFirst(Ask&& ask) {
    DWORD length = 0;
    const Outcome outcome = Taken(ask(nullptr, &length));
    if (!outcome.done) return {outcome, {}};
    Bytes bytes(length);
    const Outcome filled = Taken(ask(bytes.data(), &length));
    bytes.resize(filled.done ? std::min<std::size_t>(length, bytes.size()) : 0);
    return {filled, std::move(bytes)};
}

// Asks with room for `room` bytes, and once more when that is said to be too little. 0: AskLengthFirst.
template <class Ask>
BytesOutcome AskWithRoom(std::size_t room, Ask&& ask) {
    if (room == 0) return AskLengthFirst(ask);
    Bytes bytes(room);
    auto length = static_cast<DWORD>(room);
    Outcome outcome = Taken(ask(bytes.data(), &length));
    if (!outcome.done && IsCode(outcome.error, ERROR_MORE_DATA)) {
        bytes.resize(length);
        outcome = Taken(ask(bytes.data(), &length));
    }
    bytes.resize(outcome.done ? std::min<std::size_t>(length, bytes.size()) : 0);
    return {outcome, std::move(bytes)};
}

// The result of a sequence of calls that ends with the first one that fails.
//
//   return calls.Did(CryptThis(…)) && calls.Did(CryptThat(…));

// S_OK when done. A code that is an HRESULT already stays as it is; a failure without a code is E_FAIL.
inline HRESULT ResultOf(const Outcome& outcome) noexcept {
    if (outcome.done) return S_OK;
    return outcome.error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(outcome.error);
}

class FirstFailure {
  public:
    // Takes a call's result, and the thread's last error at once when it failed. Whether it succeeded.
    bool Did(BOOL done) noexcept { return Went(ResultOf(Taken(done))); }

    // The same with what it gave.
    bool Did(BytesOutcome outcome, Bytes& bytes) noexcept {
        bytes = std::move(outcome.bytes);
        return Went(ResultOf(outcome));
    }

    // The same for a part of the sequence.
    bool Went(HRESULT result) noexcept {
        if (SUCCEEDED(result_)) result_ = result;
        return SUCCEEDED(result);
    }

    // S_OK until a call failed.
    HRESULT Result() const noexcept { return result_; }

  private:
    HRESULT result_ = S_OK;
};

// Texts that a provider gives in the system's ANSI code page.

std::wstring FromAnsi(std::string_view text);

// Up to the terminator, if there is one.
std::wstring FromAnsi(const Bytes& text);

constexpr DWORD kCertificateEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;
