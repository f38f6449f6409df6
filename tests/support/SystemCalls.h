// Replaces the functions that SystemFunctions() names while the object lives, as far as the running program imports
// them. Of several objects the one made last is asked first.
#pragma once

#include <deque>
#include <tuple>

#include "tests/support/ImportPatch.h"
#include "tests/support/SystemFunctions.h"

class SystemCalls {
  public:
    // On x64 every argument that isn't a floating-point number travels in the same way, and one too many does no harm,
    // so a single shape of replacement does for all functions.
    using Word = ULONG_PTR;
    using Arguments = std::array<Word, 12>;
    using Function = Word WINAPI(Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word, Word);
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

    explicit SystemCalls(Handler handler) : handler_(std::move(handler)) {
        objects_.push_back(this);
        for (size_t i = 0; objects_.size() == 1 && i < SystemFunctions().size(); ++i)
            if (const char* name = SystemFunctions()[i].name; ImportPatch::IsImported(name))
                originals_.at(i) = patches_.emplace_back(name, EntryOf(i)).Original<Function>();
    }
    ~SystemCalls() {
        std::erase(objects_, this);
        if (objects_.empty()) patches_.clear();
    }
    SystemCalls(SystemCalls&&) = delete;

    // For a function that was found by its name: what replaces it from now on.
    static void* Replacement(std::string_view name, void* found) {
        const auto at = std::ranges::find(SystemFunctions(), name, &SystemFunction::name);
        const auto i = static_cast<size_t>(at - SystemFunctions().begin());
        if (at == SystemFunctions().end() || !found) return found;
        originals_.at(i) = reinterpret_cast<Function*>(found);
        return reinterpret_cast<void*>(EntryOf(i));
    }

  private:
    static Word Make(size_t function, size_t handlers, const Arguments& a) {
        if (handlers == 0) return std::apply(originals_[function], a);
        return objects_[handlers - 1]->handler_({SystemFunctions()[function].name, a, function, handlers - 1});
    }
    template <size_t function, class... Words>
    static Word WINAPI Entry(Words... words) {
        return Make(function, objects_.size(), {words...});
    }
    template <size_t... functions>
    static constexpr std::array<Function*, sizeof...(functions)> Entries(std::index_sequence<functions...>) {
        return {&Entry<functions>...};
    }
    static Function* EntryOf(size_t function) {
        static constexpr auto entries = Entries(std::make_index_sequence<kMost>());
        return entries.at(function);
    }

    static constexpr size_t kMost = 128;  // functions
    static inline std::vector<SystemCalls*> objects_;
    static inline std::deque<ImportPatch> patches_;
    static inline std::array<Function*, kMost> originals_;
    Handler handler_;
};

// Every call of a function fails while the result lives. An empty name is none's.
inline SystemCalls Failing(std::string_view function, DWORD error) {
    EXPECT_EQ(ImportPatch::IsImported(function), !function.empty()) << function;
    return SystemCalls(
        [=](const SystemCalls::Call& call) { return call.name == function ? SystemCalls::Fail(error) : call(); });
}

// What a provider returns as a certificate is spoiled while the result lives: "cut" lacks its last byte, "overlong" has
// a header that announces 16 KB more than there are.
inline SystemCalls SpoiledCertificates(std::string_view how) {
    return SystemCalls([how](const SystemCalls::Call& call) {
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
inline SystemCalls FakedParameter(DWORD parameter,
                                  const std::function<DWORD(BYTE* data, DWORD* length, DWORD flags)>& answer) {
    return SystemCalls([=](const SystemCalls::Call& call) {
        if (call.name != "CryptGetProvParam" || static_cast<DWORD>(call.a[1]) != parameter) return call();
        const DWORD code = answer(call.At<BYTE*>(2), call.At<DWORD*>(3), static_cast<DWORD>(call.a[4]));
        return code ? SystemCalls::Fail(code) : TRUE;
    });
}

// A record of a container's extension.
inline std::string ExtensionRecordOf(char critical, const std::string& value, const std::string& identifier) {
    return std::string{critical, 0, 0, 0, static_cast<char>(value.size()), static_cast<char>(value.size() >> 8), 0, 0} +
           value + identifier + '\0';
}

// The container's extensions are these records while the result lives.
inline SystemCalls FakedExtensions(std::vector<std::string> records) {
    constexpr DWORD kExtensions = 133;
    return FakedParameter(kExtensions, [=, next = size_t{0}](BYTE* data, DWORD* length, DWORD flags) mutable -> DWORD {
        if (flags == CRYPT_FIRST) next = 0;
        if (next == records.size()) return ERROR_NO_MORE_ITEMS;
        return Give(records[data ? next++ : next], data, length);
    });
}
