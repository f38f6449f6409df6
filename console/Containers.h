// Which containers a command works on: those that are named, or all of the chosen providers and owners.
#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "console/Command.h"
#include "console/Session.h"
#include "csp/CryptProvContext.h"
#include "csp/Providers.h"

// The user's choice on the command line.
struct ContainerSelection {
    std::vector<std::wstring> names;
    bool all = false;
    bool user = false, computer = false;  // neither: the user's
    std::optional<std::wstring> provider;

    // Declare the parameters: the owners and the provider; with these, names or "--all".
    void DeclareOwners(Parameters& parameters);
    void DeclareNames(Parameters& parameters);

    // Wrong unless there are either names or "--all"; as Command::WrongUsage.
    std::wstring WrongNames() const;

    std::vector<KeySet> KeySets() const;
};

// The providers of a selection: the named one, or all of the product, the default provider of type 75 first. Fails with
// NTE_KEYSET_NOT_DEF when the named one isn't installed.
Result<std::vector<Provider>> SelectedProviders(const ContainerSelection& selection);

// A container of the selection. `context` is empty when it could not be opened.
struct FoundContainer {
    ContainerPlace place;
    Result<> opened;
    CCryptProvContext& context;
};

// Receives each container in turn. False ends the visit.
using ContainerVisitor = std::function<bool(const FoundContainer& container)>;

// Opens the containers of the selection one after the other. A name is looked for in all selected providers; the first
// one that has it is visited. Containers that can't be opened are visited, too. What fails before, such as the listing
// of a provider, is reported. Ends early when the session is cancelled. Returns Failed when something was reported.
ExitCode VisitContainers(const ContainerSelection& selection, Session& session, const ContainerVisitor& visit);
