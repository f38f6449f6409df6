#include "settings/InputTimeouts.h"

#include <algorithm>
#include <string>

#include "applet/services/SupportLibrary.h"

namespace {

// The first one stands for all when they are read.
constexpr const wchar_t* kNames[] = {L"\\retry_time", L"\\login_time", L"\\passwd_time", L"\\choice_time",
                                     L"\\bio_time"};

}  // namespace

int ShownTimeout(LONG stored) noexcept {
    return std::clamp(static_cast<int>(stored), kLeastTimeout, kMostTimeout);
}

void InputTimeouts::MakeSection() const noexcept {
    support_registry_put_section(section_);
}

bool InputTimeouts::MayWrite() const noexcept {
    return ::MayWrite(section_);
}

bool InputTimeouts::Read(LONG& stored) const {
    return support_registry_get_long((std::wstring(section_) + kNames[0]).c_str(), &stored) == 0;
}

void InputTimeouts::Write(LONG value) const {
    for (const wchar_t* name : kNames) support_registry_put_long((std::wstring(section_) + name).c_str(), value);
}

void InputTimeouts::Remove() const {
    for (const wchar_t* name : kNames) support_registry_delete_param((std::wstring(section_) + name).c_str());
}
