// Replaces the calls of CryptoAPI and of the certificate functions that the running program makes, as far as it imports
// them, while the object lives. Of several objects the one made last is asked first.
#pragma once

#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/ImportPatch.h"

template <class... Names>
constexpr std::array<const char*, sizeof...(Names)> NamesOf(Names... names) {
    return {names...};
}
inline constexpr auto kPatchedCalls = NamesOf(
    "CryptAcquireContextW", "CryptReleaseContext", "CryptGetProvParam", "CryptSetProvParam", "CryptEnumProvidersW",
    "CryptGenKey", "CryptDuplicateKey", "CryptGetUserKey", "CryptGetKeyParam", "CryptSetKeyParam", "CryptExportKey",
    "CryptImportKey", "CryptDestroyKey", "CryptSignHashW", "CryptVerifySignatureW", "CryptFindOIDInfo", "CertOpenStore",
    "CertAddCertificateContextToStore", "CertAddEncodedCertificateToStore", "CertGetCertificateContextProperty",
    "CertSetCertificateContextProperty", "CryptSetKeyIdentifierProperty");

class CryptCalls {
  public:
    using Word = ULONG_PTR;  // the form of every argument and result on x64
    using Arguments = std::array<Word, 6>;
    using Function = Word WINAPI(Word, Word, Word, Word, Word, Word);
    struct Call {
        std::string_view name;
        Arguments a;
        size_t function, handlers;  // positions: of the function, and how many handlers are still to be asked

        Word operator()() const { return Make(function, handlers, a); }
        template <class Pointer>
        Pointer At(size_t argument) const {
            return reinterpret_cast<Pointer>(a.at(argument));
        }
    };
    using Handler = std::function<Word(const Call& call)>;  // makes the call or not; returns the result

    static Word Fail(DWORD error) {
        SetLastError(error);
        return FALSE;
    }

    explicit CryptCalls(Handler handler) : handler_(std::move(handler)) {
        if (objects_.empty()) Patch(std::make_index_sequence<std::size(kPatchedCalls)>());
        objects_.push_back(this);
    }
    ~CryptCalls() {
        std::erase(objects_, this);
        if (objects_.empty()) patches_ = {};
    }
    CryptCalls(const CryptCalls&) = delete;
    CryptCalls& operator=(const CryptCalls&) = delete;

  private:
    static Word Make(size_t function, size_t handlers, const Arguments& a) {
        if (handlers > 0) return objects_[handlers - 1]->handler_({kPatchedCalls[function], a, function, handlers - 1});
        return patches_[function]->Original<Function>()(a[0], a[1], a[2], a[3], a[4], a[5]);
    }
    template <size_t index>
    static Word WINAPI Entry(Word a0, Word a1, Word a2, Word a3, Word a4, Word a5) {
        return Make(index, objects_.size(), {a0, a1, a2, a3, a4, a5});
    }
    template <size_t... indices>
    static void Patch(std::index_sequence<indices...>) {
        const auto patch = [](const char* name, Function* entry) {
            return ImportPatch::IsImported(nullptr, name) ? std::make_unique<ImportPatch>(nullptr, name, entry)
                                                          : nullptr;
        };
        ((patches_[indices] = patch(kPatchedCalls[indices], &Entry<indices>)), ...);
    }

    static inline std::vector<CryptCalls*> objects_;
    static inline std::array<std::unique_ptr<ImportPatch>, std::size(kPatchedCalls)> patches_;
    Handler handler_;
};

// Every call of a function fails while the result lives.
inline CryptCalls Failing(std::string_view function, DWORD error) {
    EXPECT_TRUE(ImportPatch::IsImported(nullptr, std::string(function).c_str())) << function;
    return CryptCalls(
        [=](const CryptCalls::Call& call) { return call.name == function ? CryptCalls::Fail(error) : call(); });
}

// What a provider returns as a certificate is spoiled while the result lives: "cut" lacks its last byte, "overlong" has
// a header that announces 16 KB more than there are.
inline CryptCalls SpoiledCertificates(std::string_view how) {
    return CryptCalls([how](const CryptCalls::Call& call) {
        const auto result = call();
        if (call.name != "CryptGetKeyParam" || call.a[1] != 26 /* KP_CERTIFICATE */ || !result || !call.a[2])
            return result;
        if (how == "cut") --*call.At<DWORD*>(3);
        if (how == "overlong") call.At<BYTE*>(2)[2] |= 0x40;
        return result;
    });
}

// A provider's answer with a value: ERROR_MORE_DATA for a buffer that is too small, without a buffer only the length.
inline DWORD Give(std::string_view value, BYTE* data, DWORD* length) {
    const DWORD size = std::exchange(*length, static_cast<DWORD>(value.size()));
    if (data && size < value.size()) return ERROR_MORE_DATA;
    if (data) value.copy(reinterpret_cast<char*>(data), value.size());
    return ERROR_SUCCESS;
}

// The provider answers the question for a parameter with what `answer` writes and returns while the result lives.
inline CryptCalls FakedParameter(DWORD parameter, std::function<DWORD(BYTE* data, DWORD* length, DWORD flags)> answer) {
    return CryptCalls([=](const CryptCalls::Call& call) {
        if (call.name != "CryptGetProvParam" || static_cast<DWORD>(call.a[1]) != parameter) return call();
        const DWORD code = answer(call.At<BYTE*>(2), call.At<DWORD*>(3), static_cast<DWORD>(call.a[4]));
        return code ? CryptCalls::Fail(code) : TRUE;
    });
}

// A record of a container's extension.
inline std::string ExtensionRecordOf(char critical, const std::string& value, const std::string& identifier) {
    return std::string{critical, 0, 0, 0, static_cast<char>(value.size()), static_cast<char>(value.size() >> 8), 0, 0} +
           value + identifier + '\0';
}

// The container's extensions are these records while the result lives.
inline CryptCalls FakedExtensions(std::vector<std::string> records) {
    constexpr DWORD kExtensions = 133;
    return FakedParameter(kExtensions, [=, next = size_t{0}](BYTE* data, DWORD* length, DWORD flags) mutable -> DWORD {
        if (flags == CRYPT_FIRST) next = 0;
        if (next == records.size()) return ERROR_NO_MORE_ITEMS;
        return Give(records[data ? next++ : next], data, length);
    });
}
