// The provider's dialogs: modal, in the user's language, owned by a window. The templates are resources of the module
// that this code is linked into (dialogs.rc).
//
// Each returns 0, ERROR_CANCELLED, or why it could not be shown. When the time limit of its setting in the store has
// elapsed, a dialog closes as if by Cancel. Outputs are set on success only.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Secret.h"

namespace softcsp {

struct PasswordQuestion {
    std::wstring container;  // its fully qualified name
    bool refused = false;    // shows that the previous password was wrong
};

struct PasswordAnswer {
    Password password;
    bool save = false;
};

// Time limit: "passwd_time", after a wrong password "retry_time".
DWORD AskPassword(HWND owner, const PasswordQuestion& question, PasswordAnswer& answer);

// A password for a new container, typed twice; empty for none. Time limit: "passwd_time".
DWORD AskNewPassword(HWND owner, const std::wstring& container, Password& password);

struct PasswordChange {
    Password old;  // empty if the container has none
    Password next;
};

// Also asks for the old password if the container has one, without checking it. The same as AskNewPassword otherwise.
DWORD AskPasswordChange(HWND owner, const std::wstring& container, bool hasOld, PasswordChange& change);

struct ContainerChoice {
    std::wstring name;     // without the carrier
    std::wstring carrier;  // name
};

// An index of the list. For an empty list only Cancel is enabled. Time limit: "choice_time".
DWORD ChooseContainer(HWND owner, const std::vector<ContainerChoice>& containers, std::size_t& chosen);

// The carrier of a new container: an index of the list. Time limit: "choice_time".
DWORD ChooseCarrier(HWND owner, const std::wstring& container, const std::vector<Carrier>& carriers,
                    std::size_t& chosen);

}  // namespace softcsp
