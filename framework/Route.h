// Message tables. A window class lists its handlers in one constant table. Each row connects a message, or a
// notification of some controls, to a member function, which is a template argument.
//
//   std::span<const Route> CMyPage::Routes() const {
//       static constexpr Route table[] = {
//           on<&CMyPage::OnBrowse>(IDC_BROWSE, BN_CLICKED),
//           onMessage<&CMyPage::OnSetCursor>(WM_SETCURSOR),
//       };
//       return table;
//   }
#pragma once

#include <windows.h>

#include <optional>
#include <type_traits>

class CWnd;

struct Message {
    UINT id;
    WPARAM wParam;
    LPARAM lParam;
};

// A control's id, or all ids from `first` to `last`.
struct IdRange {
    UINT first;
    UINT last;
    // NOLINTNEXTLINE(google-explicit-constructor): a single id is the usual row.
    constexpr IdRange(UINT id) : first(id), last(id) {}
    constexpr IdRange(UINT from, UINT to) : first(from), last(to) {}
};

// A handler's result. Without a value, the message gets its default processing.
using MessageResult = std::optional<LRESULT>;

struct Route {
    UINT message;
    UINT code;  // notification code of WM_COMMAND and WM_NOTIFY, else 0
    IdRange ids;
    MessageResult (*handler)(CWnd&, const Message&);

    bool Takes(const Message& message) const noexcept;
};

namespace RouteDetail {

template <class Member>
struct MemberOf;
template <class Class, class Result, class... Arguments>
struct MemberOf<Result (Class::*)(Arguments...)> {
    using Owner = Class;
};

// Handlers are `void()`, `void(const Message&)`, `LRESULT(const Message&)` or `MessageResult(const Message&)`.
template <auto Handler>
MessageResult Call(CWnd& window, const Message& message) {
    using Owner = typename MemberOf<decltype(Handler)>::Owner;
    auto& owner = static_cast<Owner&>(window);
    if constexpr (std::is_invocable_v<decltype(Handler), Owner&>) {
        (owner.*Handler)();
        return 0;
    } else if constexpr (std::is_void_v<std::invoke_result_t<decltype(Handler), Owner&, const Message&>>) {
        (owner.*Handler)(message);
        return 0;
    } else {
        return (owner.*Handler)(message);
    }
}

}  // namespace RouteDetail

// A control's command notification (BN_CLICKED, CBN_SELCHANGE, EN_CHANGE, …).
template <auto Handler>
constexpr Route on(IdRange ids, UINT code) {
    return {WM_COMMAND, code, ids, &RouteDetail::Call<Handler>};
}

// A common control's notification (LVN_…, NM_…).
template <auto Handler>
constexpr Route onNotify(IdRange ids, UINT code) {
    return {WM_NOTIFY, code, ids, &RouteDetail::Call<Handler>};
}

// Any other message.
template <auto Handler>
constexpr Route onMessage(UINT message) {
    return {message, 0, IdRange(0), &RouteDetail::Call<Handler>};
}

// A message that a control sends to its parent (WM_CTLCOLORSTATIC, …), passed on to the control's object.
constexpr UINT kReflected = 0xBC00;
template <auto Handler>
constexpr Route onReflected(UINT message) {
    return onMessage<Handler>(kReflected + message);
}
