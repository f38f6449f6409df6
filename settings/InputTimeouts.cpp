#include "settings/InputTimeouts.h"

#include <algorithm>
#include <string>

#include "applet/services/SupportLibrary.h"

namespace {

constexpr LONG kInfinite = -1;

// The first one is read for all of them.
constexpr const wchar_t* kNames[] = {L"\\retry_time", L"\\login_time", L"\\passwd_time", L"\\choice_time",
                                     L"\\bio_time"};

const wchar_t* SectionOf(TimeoutLevel level) noexcept {
    return level == TimeoutLevel::User ? L"\\local\\KeyDevices" : L"\\global\\KeyDevices";
}

std::wstring PathOf(TimeoutLevel level, const wchar_t* name) {
    return std::wstring(SectionOf(level)) + name;
}

}  // namespace

void CreateTimeoutSection(TimeoutLevel level) {
    support_registry_put_section(SectionOf(level));
}

bool MayWriteTimeout(TimeoutLevel level) {
    return MayWrite(SectionOf(level));
}

std::optional<InputTimeout> ReadTimeout(TimeoutLevel level) {
    LONG stored = 0;
    if (support_registry_get_long(PathOf(level, kNames[0]).c_str(), &stored) != 0) return {};
    if (stored == kInfinite) return InputTimeout{.infinite = true};
    return InputTimeout{.seconds = std::clamp(static_cast<int>(stored), kLeastTimeout, kMostTimeout)};
}

void WriteTimeout(TimeoutLevel level, const InputTimeout& timeout) {
    const LONG value = timeout.infinite ? kInfinite : timeout.seconds;
    for (const wchar_t* name : kNames) support_registry_put_long(PathOf(level, name).c_str(), value);
}

void RemoveTimeout(TimeoutLevel level) {
    for (const wchar_t* name : kNames) support_registry_delete_param(PathOf(level, name).c_str());
}
