#include "framework/Clipboard.h"

#include <algorithm>

#include "framework/Handles.h"

namespace {

class OpenedClipboard : NonCopyable {
  public:
    // Tries several times, because another program may have the clipboard open for a moment.
    explicit OpenedClipboard(HWND owner) noexcept {
        constexpr int kTries = 3;
        constexpr DWORD kBetweenTries = 20;  // milliseconds
        for (int made = 0; !open_ && made < kTries; ++made) {
            if (made > 0) Sleep(kBetweenTries);
            open_ = OpenClipboard(owner) != FALSE;
        }
    }
    ~OpenedClipboard() {
        if (open_) CloseClipboard();
    }

    explicit operator bool() const noexcept { return open_; }

  private:
    bool open_ = false;
};

}  // namespace

bool CopyToClipboard(HWND owner, std::wstring_view text) noexcept {
    UniqueGlobalMemory memory(GlobalAlloc(GMEM_MOVEABLE, (text.size() + 1) * sizeof(wchar_t)));
    if (!memory) return false;
    auto* characters = static_cast<wchar_t*>(GlobalLock(memory.get()));
    if (!characters) return false;
    *std::copy(text.begin(), text.end(), characters) = L'\0';
    GlobalUnlock(memory.get());

    const OpenedClipboard clipboard(owner);
    if (!clipboard || !EmptyClipboard() || !SetClipboardData(CF_UNICODETEXT, memory.get())) return false;
    static_cast<void>(memory.release());  // the system owns it now
    return true;
}
