// The owner of a handle. A policy says which value means none and how a handle is closed; raw close calls stand
// nowhere else.
#pragma once

#include <windows.h>

#include <utility>

// Keeps the thread's last-error value over a scope: what a clean-up does must not hide why it was needed.
class LastErrorKeeper {
  public:
    LastErrorKeeper() noexcept : error_(GetLastError()) {}
    ~LastErrorKeeper() { SetLastError(error_); }
    LastErrorKeeper(const LastErrorKeeper&) = delete;
    LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;

  private:
    DWORD error_;
};

// Policy: `using Handle`, `static Handle null()`, `static void close(Handle)`.
template <class Policy>
class UniqueHandle {
  public:
    using Handle = typename Policy::Handle;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle handle) noexcept : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    Handle get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != Policy::null(); }

    // Gives the handle up; the caller owns it now.
    [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, Policy::null()); }

    // Closes what is held, keeping the thread's last-error value, and takes `handle` over.
    void reset(Handle handle = Policy::null()) noexcept {
        const Handle old = std::exchange(handle_, handle);
        if (old == Policy::null()) return;
        const LastErrorKeeper keeper;
        Policy::close(old);
    }

    // Closes what is held, and tells how that went, with its last error; true when nothing is held. For those who must
    // report it; the policy's close returns it.
    bool close() noexcept {
        const Handle old = release();
        return old == Policy::null() || Policy::close(old);
    }

    // For functions that return a handle through a pointer. What was held is closed first.
    Handle* put() noexcept {
        reset();
        return &handle_;
    }

  private:
    Handle handle_ = Policy::null();
};
