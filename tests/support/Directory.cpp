#include "tests/support/Directory.h"

#include <windows.h>

#include <filesystem>

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
    HANDLE read = nullptr, write = nullptr;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    if (output != nullptr &&
        (!CreatePipe(&read, &write, &inherited, 0) || !SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0)))
        return ~0u;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;  // none else: what it says is not for the test's log
    startup.hStdOutput = write;
    PROCESS_INFORMATION process{};
    const BOOL started = CreateProcessW(nullptr, command.data(), nullptr, nullptr, output != nullptr, 0, nullptr,
                                        nullptr, &startup, &process);
    if (output != nullptr) {
        CloseHandle(write);  // so that reading ends with the tool
        output->clear();
        char part[4096];
        DWORD count = 0;
        while (started && ReadFile(read, part, sizeof part, &count, nullptr)) output->append(part, count);
        CloseHandle(read);
    }
    if (!started) return ~0u;
    DWORD code = ~0u;
    WaitForSingleObject(process.hProcess, INFINITE);
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}
