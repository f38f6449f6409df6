#include "settings/InputTimeouts.h"

#include <algorithm>

#include "applet/services/SupportLibrary.h"

namespace {

constexpr LONG kInfinite = -1;

// The first one is read for all of them.
constexpr const wchar_t* kNames[] = {L"\\retry_time", L"\\login_time", L"\\passwd_time", L"\\choice_time",
                                     L"\\bio_time"};

// `change(path)` for each timeout of a level.
template <class Change>
Result<> ForEach(TimeoutLevel level, Change&& change) {
    Result<> result;
    for (const std::wstring& path : TimeoutPaths(level)) {
        const Result<> changed = TryCode(change(path.c_str()));
        if (result) result = changed;
    }
    return result;
}

}  // namespace

const wchar_t* TimeoutSection(TimeoutLevel level) noexcept {
    return level == TimeoutLevel::User ? L"\\local\\KeyDevices" : L"\\global\\KeyDevices";
}

std::vector<std::wstring> TimeoutPaths(TimeoutLevel level) {
    std::vector<std::wstring> paths;
    for (const wchar_t* name : kNames) paths.push_back(TimeoutSection(level) + std::wstring(name));
    return paths;
}

void CreateTimeoutSection(TimeoutLevel level) {
    support_registry_put_section(TimeoutSection(level));
}

bool MayWriteTimeout(TimeoutLevel level) {
    return MayWrite(TimeoutSection(level));
}

std::optional<InputTimeout> ReadTimeout(TimeoutLevel level) {
    LONG stored = 0;
    if (support_registry_get_long((TimeoutSection(level) + std::wstring(kNames[0])).c_str(), &stored) != 0) return {};
    if (stored == kInfinite) return InputTimeout{.infinite = true};
    return InputTimeout{.seconds = std::clamp(static_cast<int>(stored), kLeastTimeout, kMostTimeout)};
}

Result<> WriteTimeout(TimeoutLevel level, const InputTimeout& timeout) {
    const LONG value = timeout.infinite ? kInfinite : timeout.seconds;
    return ForEach(level, [=](const wchar_t* path) { return support_registry_put_long(path, value); });
}

Result<> RemoveTimeout(TimeoutLevel level) {
    return ForEach(level, &RemoveParameter);
}
