// The result of a sequence of calls that ends with the first one that fails.
//
//   return calls.Did(CryptThis(…)) && calls.Did(CryptThat(…));
#pragma once

#include <windows.h>

#include <utility>

#include "csp/Outcome.h"

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
