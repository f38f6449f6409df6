// A container opened by a context. Private keys are unsealed at their first use; the password is then asked once for
// each opening. Failures are exceptions with the codes of ProviderInterface.h.
#pragma once

#include <windows.h>
#include <wincrypt.h>

#include <functional>
#include <optional>
#include <utility>

#include "softcsp/common/ExportGuard.h"
#include "softcsp/common/Handles.h"
#include "softcsp/container/ContainerStore.h"

namespace softcsp {

// How a context shows dialogs. Its lock is released meanwhile, so that other threads, which the owner of the dialog may
// wait for, can use the context. Whoever shows a dialog reads the state of the context again afterwards.
struct Prompt {
    bool silent = false;    // no dialog may be shown
    HWND window = nullptr;  // owner of the dialogs; null: the thread's active window
    Mutex* lock = nullptr;  // held once by this thread

    // Runs the dialog, which returns 0 or a code.
    template <class Dialog>
    void Show(Dialog&& dialog) const {
        Require(!silent, NTE_SILENT_CONTEXT);
        DWORD result = ERROR_SUCCESS;
        {
            const Released released(*lock);
            result = std::forward<Dialog>(dialog)(window);
        }
        Check(result);
    }

  private:
    struct Released {
        explicit Released(Mutex& mutex) : mutex_(mutex) { mutex_.unlock(); }
        ~Released() { mutex_.lock(); }
        Released(const Released&) = delete;
        Released& operator=(const Released&) = delete;

        Mutex& mutex_;
    };
};

class OpenContainer {
  public:
    static OpenContainer Open(const ContainerStore& store, const ContainerPlace& place);
    static OpenContainer Create(const ContainerStore& store, const ContainerPlace& place, const Password& password);

    const ContainerPlace& Place() const { return place_; }
    const ContainerStore& InStore() const { return store_; }
    const Container& Record() const { return container_; }  // as last read or written

    // Reads the container again if its file has changed.
    void Refresh();

    // The password for the next time that it is needed, so that no dialog is shown.
    void GivePassword(const Password& password) { given_ = password; }

    // NTE_KEYSET_ENTRY_BAD: somebody without the master key has changed the container.
    void Unlock(const Prompt& prompt);
    // Unlocks the container. NTE_NO_KEY; NTE_KEYSET_ENTRY_BAD also if the key's record is inconsistent.
    KeyPair PrivateKey(bool signatureKey, const Prompt& prompt);
    // Stores a key pair in an empty slot; NTE_EXISTS.
    void AddKeyPair(bool signatureKey, const Prompt& prompt, const KeyPair& pair, const ParameterSet& digest,
                    bool exportable);
    // Unlocks the container, reads it again, so that no change of another program is lost, applies the change and
    // writes it. NTE_BAD_KEYSET: another container has replaced it.
    void Modify(const Prompt& prompt, const std::function<void(Container&)>& change);
    // In a dialog.
    void ChangePassword(const Prompt& prompt);
    // With its saved password.
    void Remove(const Prompt& prompt);
    // The value of kParamIntegrity.
    DWORD Integrity() const;

  private:
    OpenContainer(const ContainerStore& store, ContainerPlace place) : store_(store), place_(std::move(place)) {}

    bool TryKey(const std::optional<SymmetricKey>& openingKey);
    bool TryWithoutAsking();
    void AskForPassword(const Prompt& prompt);
    void CheckAuthentic();

    ContainerStore store_;
    ContainerPlace place_;
    Container container_;
    FileStamp stamp_;  // of the file that container_ was read from
    Password given_;
    std::optional<SymmetricKey> master_;  // once unlocked
    std::optional<KeyPair> pairs_[2];     // unsealed private keys: exchange, signature
};

}  // namespace softcsp
