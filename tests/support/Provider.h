// The software provider as programs use it, for tests that need containers and keys.
#pragma once

#include "csp/CryptProvContext.h"
#include "csp/CryptoValues.h"
#include "framework/Handles.h"
#include "tests/support/Directory.h"

constexpr wchar_t kProvider75[] = L"Kelvane GOST R 34.10-2001 KC1 CSP";
constexpr wchar_t kProvider71[] = L"Kelvane GOST R 34.10-94 KC1 CSP";

using TestBytes = Bytes;

// 0 for success, else the thread's last error.
inline HRESULT ErrorOf(BOOL done) {
    return done ? 0 : static_cast<HRESULT>(GetLastError());
}
inline HRESULT ErrorOf(const Result<>& result) {
    return result ? S_OK : result.Failed().AsHresult();
}

// A container that is there while the object lives, made without a question. `type` 71 or 75.
class TestContainer {
  public:
    explicit TestContainer(std::wstring name, DWORD type = 75, DWORD flags = 0)
        : name_(std::move(name)), type_(type), flags_(flags | CRYPT_SILENT) {
        Remove();
        EXPECT_TRUE(context_.Acquire(CRYPT_NEWKEYSET | flags_, name_.c_str(), nullptr, type_)) << LastFailure().code;
    }
    ~TestContainer() {
        context_.Release();
        Remove();
    }
    TestContainer(TestContainer&&) = delete;
    HCRYPTPROV Get() const { return context_.Get(); }

  private:
    void Remove() const {
        (void)CCryptProvContext().Acquire(CRYPT_DELETEKEYSET | flags_, name_.c_str(), nullptr, type_);
    }
    const std::wstring name_;
    const DWORD type_, flags_;
    CCryptProvContext context_;
};

// Empty when the call fails.
inline TestBytes KeyParameter(HCRYPTKEY key, DWORD parameter) {
    return ReadBytes(KeyQuery(key, parameter)).ValueOr({});
}

// A container made by the software provider's tool, there while the object lives. `place` says to the tool where it is.
class ToolContainer {
  public:
    explicit ToolContainer(const std::wstring& name, const std::wstring& options = {}, std::wstring place = {})
        : name_(L" \"" + name + L"\""), place_(std::move(place)) {
        const std::wstring create = L"create" + name_ + L" " + options + place_;
        if (RunTool(create) == 0) return;
        Remove();  // of a run that was broken off
        EXPECT_EQ(RunTool(create), 0u);
    }
    ~ToolContainer() { Remove(); }
    ToolContainer(ToolContainer&&) = delete;

    void Set(const std::wstring& change) const { EXPECT_EQ(RunTool(L"set" + name_ + L" " + change + place_), 0u); }
    // Writes a file with a new certificate of the key x or s.
    void WriteCertificate(const std::wstring& path, const std::wstring& key, const std::wstring& options = {}) const {
        EXPECT_EQ(RunTool(L"certificate" + name_ + L" --key " + key + L" --out \"" + path + L"\" " + options + place_),
                  0u);
    }

  private:
    void Remove() const { RunTool(L"remove" + name_ + place_); }
    const std::wstring name_, place_;
};

// The place of the computer's containers of a provider, for the tool.
inline std::wstring ComputersOf(const std::wstring& provider) {
    return L" --machine --provider \"" + provider + L"\"";
}

// Keeps the provider's library, which the system would unload with its last context.
struct LoadedProvider {
    const UniqueModule module{LoadLibraryW((ProgramDirectory() + L"kvcsp.dll").c_str())};
};
