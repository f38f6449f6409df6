// Result<T>: what an operation without a window returns: its value, or the code of the call that failed.
//
//   Result<Bytes> ReadCertificate(HCRYPTKEY key);
//
//   const Result<Bytes> certificate = ReadCertificate(key);
//   if (!certificate) return certificate.Failed();
//   Use(*certificate);
#pragma once

#include <windows.h>

#include <optional>
#include <type_traits>
#include <utility>

// Why an operation failed: the code of the first call that failed, as that call left it (a Win32 code, an HRESULT or a
// code of the provider). A callee that sets no code leaves ERROR_SUCCESS here; it is a failure nevertheless.
struct Failure {
    DWORD code;

    // Whether the code is this Win32 code. Some callees set Win32 codes in the form of an HRESULT.
    constexpr bool Is(DWORD win32) const noexcept {
        return code == win32 || code == static_cast<DWORD>(HRESULT_FROM_WIN32(win32));
    }

    // E_FAIL when the callee set no code.
    constexpr HRESULT AsHresult() const noexcept { return code == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(code); }

    bool operator==(const Failure&) const = default;
};

// The thread's last error. Call it on the line after the call that failed.
inline Failure LastFailure() noexcept {
    return {GetLastError()};
}

template <class T = void>
class Result;

template <class T>
class [[nodiscard]] Result {
  public:
    // NOLINTBEGIN(google-explicit-constructor): functions return a value or a failure.
    Result(T value) noexcept(std::is_nothrow_move_constructible_v<T>) : value_(std::move(value)) {}
    Result(Failure failure) noexcept : failure_(failure) {}
    // NOLINTEND(google-explicit-constructor)

    explicit operator bool() const noexcept { return value_.has_value(); }

    // Only after success.
    T& operator*() & noexcept { return *value_; }
    const T& operator*() const& noexcept { return *value_; }
    T&& operator*() && noexcept { return *std::move(value_); }
    T* operator->() noexcept { return &*value_; }
    const T* operator->() const noexcept { return &*value_; }

    // Only after a failure.
    Failure Failed() const noexcept { return failure_; }

    T ValueOr(T otherwise) && { return value_ ? *std::move(value_) : std::move(otherwise); }

    // `next(value)` after success, else the failure. `next` returns a Result.
    template <class Next>
    auto Then(Next&& next) && -> std::invoke_result_t<Next, T&&> {
        if (!value_) return failure_;
        return std::forward<Next>(next)(*std::move(value_));
    }

    // Moves the value into `target` after success. For a sequence of calls whose values go to different places.
    Result<void> Into(T& target) &&;

  private:
    std::optional<T> value_;
    Failure failure_{};
};

template <>
class [[nodiscard]] Result<void> {
  public:
    Result() noexcept = default;
    Result(Failure failure) noexcept : failure_(failure) {}  // NOLINT(google-explicit-constructor): as above

    explicit operator bool() const noexcept { return !failure_; }
    Failure Failed() const noexcept { return *failure_; }

    template <class Next>
    auto Then(Next&& next) && -> std::invoke_result_t<Next> {
        if (failure_) return *failure_;
        return std::forward<Next>(next)();
    }

  private:
    std::optional<Failure> failure_;
};

template <class T>
Result<void> Result<T>::Into(T& target) && {
    if (!value_) return failure_;
    target = *std::move(value_);
    return {};
}

// The result of a call that reports failure by FALSE and the thread's last error: `Try(CryptGenKey(…))`.
inline Result<> Try(BOOL succeeded) noexcept {
    if (succeeded) return {};
    return LastFailure();
}

// The result of a call that returns its code: LSTATUS, or a code of the product's libraries; 0 is success.
inline Result<> TryCode(DWORD code) noexcept {
    if (code == ERROR_SUCCESS) return {};
    return Failure{code};
}
