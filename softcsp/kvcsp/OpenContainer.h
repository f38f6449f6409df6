// A container that a context has opened. Private keys are made ready when they are first needed; then the password is
// asked for, once for each opening. Results are codes, 0 = success; see ProviderInterface.h for the provider's own.
#pragma once

#include <windows.h>

#include <optional>
#include <utility>

#include "softcsp/container/ContainerStore.h"

namespace softcsp {

// Whom to ask.
struct Asking {
    bool silent = false;    // nobody: NTE_SILENT_CONTEXT
    HWND window = nullptr;  // dialogs belong to it; null: to the thread's active window
};

class OpenContainer {
  public:
    // Opens what is on the carrier.
    static DWORD Open(const ContainerStore& store, const ContainerPlace& place, std::optional<OpenContainer>& opened);
    // Makes it there.
    static DWORD Create(const ContainerStore& store, const ContainerPlace& place, const Password& password,
                        std::optional<OpenContainer>& opened);

    const ContainerPlace& Place() const { return place_; }
    const Container& Record() const { return container_; }  // as it was last read or written

    // The password for the next time that it is needed, so that nobody is asked.
    void GivePassword(const Password& password) { given_ = password; }

    DWORD Unlock(const Asking& asking);
    // NTE_NO_KEY, or what Unlock gives. NTE_BAD_KEYSET when the key's record makes no sense.
    DWORD PrivateKey(bool signatureKey, const Asking& asking, std::optional<KeyPair>& pair);
    // Puts a key pair where none is; NTE_EXISTS. NTE_BAD_KEYSET when another container has come into its place.
    DWORD AddKeyPair(bool signatureKey, const Asking& asking, const KeyPair& pair, const ParameterSet& digest,
                     bool exportable);
    // In a dialog. Private keys that were ready stay so.
    DWORD ChangePassword(const Asking& asking);
    // With its saved password.
    DWORD Remove(const Asking& asking);
    // The word of kParamIntegrity.
    DWORD Integrity(DWORD& damage) const;

    // Reads the container anew, so that no other program's change is lost, applies the change and writes it.
    template <class Change>
    DWORD Modify(Change&& change) {
        return store_.Modify(place_, container_, std::forward<Change>(change));
    }

  private:
    OpenContainer(const ContainerStore& store, const ContainerPlace& place) : store_(store), place_(place) {}

    DWORD Refresh();
    bool TryKey(const std::optional<SymmetricKey>& openingKey);
    bool TryWithoutAsking();
    DWORD AskForPassword(const Asking& asking);

    ContainerStore store_;
    ContainerPlace place_;
    Container container_;
    Password given_;
    std::optional<SymmetricKey> master_;  // since it was unlocked
    std::optional<KeyPair> pairs_[2];     // private keys that are ready: exchange, signature
};

}  // namespace softcsp
