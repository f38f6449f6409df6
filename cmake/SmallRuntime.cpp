// Replaces parts of the C++ library in the shipped module. The library's versions of these functions print a message or
// format a text, and with that they link its demangler, its string classes and its number formatting: a hundred
// kilobytes that the module never uses. Test programs keep the library's versions, for their messages.
#include <cstdlib>
#include <exception>
#include <new>

namespace {

// The standard library's exceptions hold a string. The module catches them as std::exception or as anything.
class LibraryError : public std::exception {
  public:
    explicit LibraryError(const char* reason) noexcept : reason_(reason) {}
    const char* what() const noexcept override { return reason_; }

  private:
    const char* reason_;  // a literal
};

}  // namespace

namespace __gnu_cxx {

// The library's handler of uncaught exceptions prints the exception's type.
void __verbose_terminate_handler() {
    std::abort();
}

}  // namespace __gnu_cxx

// Called by the library's templates, which declare them.
namespace std {

void __throw_bad_alloc() {
    throw bad_alloc();
}
void __throw_bad_array_new_length() {
    throw bad_array_new_length();
}
void __throw_length_error(const char* reason) {
    throw LibraryError(reason);
}
void __throw_logic_error(const char* reason) {
    throw LibraryError(reason);
}
void __throw_out_of_range_fmt(const char* reason, ...) {
    throw LibraryError(reason);
}

}  // namespace std
