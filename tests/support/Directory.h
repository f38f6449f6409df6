// Places and programs beside the running test.
#pragma once

#include <string>

// The directory of the tests, the panel and the libraries, with the last backslash.
std::wstring ProgramDirectory();

// A new empty directory below the system's temporary one, removed with all that is in it at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(TemporaryDirectory&&) = delete;

    const std::wstring& Path() const noexcept { return path_; }  // with the last backslash

    // Copies a file from the running test's directory; the copy's path.
    std::wstring Take(const wchar_t* fileName) const;

  private:
    std::wstring path_;
};

// Runs a program of the running test's directory and waits for it; its exit code, and its output (UTF-8).
unsigned RunProgram(const wchar_t* fileName, const std::wstring& arguments, std::string* output = nullptr);

// The same for softcsp.exe.
unsigned RunTool(const std::wstring& arguments, std::string* output = nullptr);
