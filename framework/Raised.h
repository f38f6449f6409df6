// Raised: a flag is true while the object lives, and then what it was before.
#pragma once

#include <utility>

class Raised {
  public:
    explicit Raised(bool& flag) noexcept : flag_(flag), before_(std::exchange(flag, true)) {}
    ~Raised() { flag_ = before_; }
    Raised(const Raised&) = delete;
    Raised& operator=(const Raised&) = delete;

  private:
    bool& flag_;
    bool before_;
};
