// Stands in front of the calls of CryptoAPI that the running program makes, as far as it makes them, for the life of
// the object.
#pragma once

#include <windows.h>

#include <array>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "tests/support/ImportPatch.h"

class CryptCalls {
  public:
    using Word = ULONG_PTR;  // as every argument and result travels on x64
    using Function = Word WINAPI(Word, Word, Word, Word, Word, Word);
    struct Call {
        std::string_view name;
        std::array<Word, 6> a;
        Function* real;
        Word operator()() const { return real(a[0], a[1], a[2], a[3], a[4], a[5]); }
        template <class Pointer>
        Pointer At(size_t argument) const {
            return reinterpret_cast<Pointer>(a.at(argument));
        }
    };
    using Handler = std::function<Word(const Call& call)>;  // does the call or not; its result

    static Word Fail(DWORD error) {
        SetLastError(error);
        return FALSE;
    }

    explicit CryptCalls(Handler handler) : handler_(std::move(handler)) {
        self_ = this;
        Patch(std::make_index_sequence<std::size(kNames)>());
    }

  private:
    static constexpr const char* kNames[] = {"CryptAcquireContextW", "CryptReleaseContext", "CryptGetProvParam",
                                             "CryptSetProvParam",    "CryptGenKey",         "CryptDuplicateKey",
                                             "CryptGetUserKey",      "CryptGetKeyParam",    "CryptSetKeyParam",
                                             "CryptExportKey",       "CryptImportKey",      "CryptDestroyKey"};
    template <size_t index>
    static Word WINAPI Entry(Word a0, Word a1, Word a2, Word a3, Word a4, Word a5) {
        auto* real = self_->patches_[index]->template Original<Function>();
        return self_->handler_({kNames[index], {a0, a1, a2, a3, a4, a5}, real});
    }
    template <size_t... indices>
    void Patch(std::index_sequence<indices...>) {
        const auto patch = [](const char* name, Function* entry) {
            return ImportPatch::IsImported(nullptr, name) ? std::make_unique<ImportPatch>(nullptr, name, entry)
                                                          : nullptr;
        };
        ((patches_[indices] = patch(kNames[indices], &Entry<indices>)), ...);
    }

    static inline CryptCalls* self_ = nullptr;
    Handler handler_;
    std::array<std::unique_ptr<ImportPatch>, std::size(kNames)> patches_;
};

// What a provider gives as a certificate is spoiled while the result lives: "cut" lacks its last byte, "overlong" has a
// header that announces 16 KB more than there are.
inline CryptCalls SpoiledCertificates(std::wstring_view how) {
    return CryptCalls([how](const CryptCalls::Call& call) {
        const auto result = call();
        if (call.name != "CryptGetKeyParam" || call.a[1] != 26 /* KP_CERTIFICATE */ || !result || !call.a[2])
            return result;
        if (how == L"cut") --*call.At<DWORD*>(3);
        if (how == L"overlong") call.At<BYTE*>(2)[2] |= 0x40;
        return result;
    });
}
