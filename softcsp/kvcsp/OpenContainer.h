// A container opened by a context. Private keys are unsealed at their first use; the password is then asked once for
// each opening. Results are codes, 0 = success; see ProviderInterface.h.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <optional>
#include <utility>

#include "softcsp/common/Handles.h"
#include "softcsp/container/ContainerStore.h"

namespace softcsp {

constexpr DWORD Code(HRESULT result) {
    return static_cast<DWORD>(result);
}

// How a context shows dialogs. Its lock is released meanwhile, so that other threads, which the owner of the dialog may
// wait for, can use the context. Whoever shows a dialog reads the state of the context again afterwards.
struct Prompt {
    bool silent = false;    // no dialog may be shown
    HWND window = nullptr;  // owner of the dialogs; null: the thread's active window
    Mutex* lock = nullptr;  // held once by this thread

    // The result of the dialog, or NTE_SILENT_CONTEXT.
    template <class Dialog>
    DWORD Show(Dialog&& dialog) const {
        if (silent) return Code(NTE_SILENT_CONTEXT);
        const Mutex::Released released(*lock);
        return std::forward<Dialog>(dialog)(window);
    }
};

class OpenContainer {
  public:
    static DWORD Open(const ContainerStore& store, const ContainerPlace& place, std::optional<OpenContainer>& opened);
    static DWORD Create(const ContainerStore& store, const ContainerPlace& place, const Password& password,
                        std::optional<OpenContainer>& opened);

    const ContainerPlace& Place() const { return place_; }
    const ContainerStore& InStore() const { return store_; }
    const Container& Record() const { return container_; }  // as last read or written

    // Reads the container again if its file has changed.
    DWORD Refresh();

    // The password for the next time that it is needed, so that no dialog is shown.
    void GivePassword(const Password& password) {
        given_ = password;
        refused_.reset();
    }

    // NTE_KEYSET_ENTRY_BAD: somebody without the master key has changed the container.
    DWORD Unlock(const Prompt& prompt);
    // NTE_NO_KEY, or the result of Unlock. NTE_KEYSET_ENTRY_BAD also if the key's record is inconsistent.
    DWORD PrivateKey(bool signatureKey, const Prompt& prompt, std::optional<KeyPair>& pair);
    // Stores a key pair in an empty slot; NTE_EXISTS.
    DWORD AddKeyPair(bool signatureKey, const Prompt& prompt, const KeyPair& pair, const ParameterSet& digest,
                     bool exportable);
    // Unlocks the container, reads it again, so that no change of another program is lost, applies the change and
    // writes it. NTE_BAD_KEYSET: another container has replaced it.
    DWORD Modify(const Prompt& prompt, const ContainerStore::Change& change);
    // In a dialog.
    DWORD ChangePassword(const Prompt& prompt);
    // With its saved password.
    DWORD Remove(const Prompt& prompt);
    // The value of kParamIntegrity.
    DWORD Integrity(DWORD& damage) const;

  private:
    OpenContainer(const ContainerStore& store, const ContainerPlace& place) : store_(store), place_(place) {}

    bool TryKey(const std::optional<SymmetricKey>& openingKey);
    bool TryWithoutAsking();
    DWORD AskForPassword(const Prompt& prompt);
    DWORD CheckAuthentic();

    ContainerStore store_;
    ContainerPlace place_;
    Container container_;
    FileStamp stamp_;  // of the file that container_ was read from
    Password given_;
    std::optional<SealedKey> refused_;    // the lock that the given password did not open
    std::optional<SymmetricKey> master_;  // once unlocked
    std::optional<KeyPair> pairs_[2];     // unsealed private keys: exchange, signature
};

}  // namespace softcsp
