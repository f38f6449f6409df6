// Places and programs beside the running test.
#pragma once

#include <filesystem>

#include "framework/Handles.h"

// The directory of the tests, the panel and the libraries, with the last backslash.
inline std::wstring ProgramDirectory() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).remove_filename();
}

// A new empty directory below the system's temporary one, removed with all that is in it at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory() { std::filesystem::create_directories(path_); }
    ~TemporaryDirectory() {
        std::error_code ignored;  // a library that is still loaded stays until the prefix goes
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(TemporaryDirectory&&) = delete;

    const std::wstring& Path() const noexcept { return path_; }  // with the last backslash

  private:
    static inline int number_ = 0;
    const std::filesystem::path name_ =
        L"vestra-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++number_);
    const std::wstring path_ = (std::filesystem::temp_directory_path() / name_).wstring() + L"\\";
};

// Runs a program of the running test's directory and waits for it; its exit code, and its output (UTF-8).
inline unsigned RunProgram(const wchar_t* fileName, const std::wstring& arguments, std::string* output = nullptr) {
    std::wstring command = L"\"" + ProgramDirectory() + fileName + L"\" " + arguments;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    UniqueKernelHandle read, write;
    CreatePipe(read.put(), write.put(), &inherited, 0);
    SetHandleInformation(read.get(), HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = write.get();
    PROCESS_INFORMATION started{};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started))
        return ~0u;
    const UniqueKernelHandle thread(started.hThread), process(started.hProcess);
    write.reset();  // so that reading ends with the program
    std::string text;
    char part[4096];
    for (DWORD count = 0; ReadFile(read.get(), part, sizeof part, &count, nullptr);) text.append(part, count);
    if (output) *output = text;
    DWORD code = ~0u;
    WaitForSingleObject(process.get(), INFINITE);
    GetExitCodeProcess(process.get(), &code);
    return code;
}

inline unsigned RunTool(const std::wstring& arguments, std::string* output = nullptr) {
    return RunProgram(L"softcsp.exe", arguments, output);
}
