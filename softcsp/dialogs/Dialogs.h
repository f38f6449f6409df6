// The provider's own dialogs: modal, in the user's language, above the window that owns them. The templates are
// resources of the module that the code is linked into (dialogs.rcinc).
//
// Each gives 0, ERROR_CANCELLED, or the reason why it couldn't be shown. When the time that the store sets for such a
// dialog is over, it closes itself as if by Cancel. Outputs are set on success only.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Password.h"

namespace softcsp {

struct PasswordQuestion {
    std::wstring container;  // its fully qualified name, shown to the user
    bool refused = false;    // the password given before was wrong: the dialog says so
    bool maySave = true;     // offers the check box "Save password"
};

struct PasswordAnswer {
    Password password;
    bool save = false;
};

// Time: "passwd_time", after a refused one "retry_time".
DWORD AskPassword(HWND owner, const PasswordQuestion& question, PasswordAnswer& answer);

// A password for a new container, typed twice; it may be empty, which means none. Time: "passwd_time".
DWORD AskNewPassword(HWND owner, const std::wstring& container, Password& password);

struct PasswordChange {
    Password old;  // empty when it wasn't asked
    Password next;
};

// Asks for the old password, too, when the container has one; whether it is right isn't known here.
DWORD AskPasswordChange(HWND owner, const std::wstring& container, bool hasOld, PasswordChange& change);

struct ContainerChoice {
    std::wstring name;     // as people know it
    std::wstring carrier;  // the carrier's name
};

// Index into the list. An empty list is shown as such, and only Cancel is left. Time: "choice_time".
DWORD ChooseContainer(HWND owner, const std::vector<ContainerChoice>& containers, std::size_t& chosen);

// Where a new container is to lie: index into the list. Time: "choice_time".
DWORD ChooseCarrier(HWND owner, const std::wstring& container, const std::vector<Carrier>& carriers,
                    std::size_t& chosen);

}  // namespace softcsp
