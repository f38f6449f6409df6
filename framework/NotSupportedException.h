// CNotSupportedException: what was asked for doesn't exist here.
#pragma once

#include <exception>

class CNotSupportedException : public std::exception {
  public:
    const char* what() const noexcept override { return "not supported"; }
};
