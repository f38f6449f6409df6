// Stands in front of the calls of CryptoAPI that the running program makes, for the life of the object.
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
        ((patches_[indices] = std::make_unique<ImportPatch>(nullptr, kNames[indices], &Entry<indices>)), ...);
    }

    static inline CryptCalls* self_ = nullptr;
    Handler handler_;
    std::array<std::unique_ptr<ImportPatch>, std::size(kNames)> patches_;
};
