#include "tests/support/Directory.h"

#include <windows.h>

#include <filesystem>

#include "framework/Handles.h"

std::wstring ProgramDirectory() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring whole = path;
    return whole.substr(0, whole.rfind(L'\\') + 1);
}

TemporaryDirectory::TemporaryDirectory() {
    static int number = 0;
    wchar_t root[MAX_PATH] = L"";
    GetTempPathW(MAX_PATH, root);
    path_ = std::wstring(root) + L"vestra-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(++number) + L"\\";
    std::filesystem::create_directories(path_);
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;  // a library that is still loaded stays until the prefix goes
    std::filesystem::remove_all(path_, ignored);
}

std::wstring TemporaryDirectory::Take(const wchar_t* fileName) const {
    CopyFileW((ProgramDirectory() + fileName).c_str(), (path_ + fileName).c_str(), FALSE);
    return path_ + fileName;
}

unsigned RunTool(const std::wstring& arguments, std::string* output) {
    return RunProgram(L"softcsp.exe", arguments, output);
}

unsigned RunProgram(const wchar_t* fileName, const std::wstring& arguments, std::string* output) {
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
