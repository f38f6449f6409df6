// The Hardware page as a real window: the windows of the product's libraries, and what is done without them.
#include "pages/PropPageConfigCSPHardware.h"

#include <memory>

#include "applet/services/DeviceLibraries.h"
#include "applet/services/ProcessCaches.h"
#include "tests/support/SettingsPage.h"

namespace {

// The button, the function behind it, its window, the message without its library.
constexpr wchar_t kNoReaders[] = L"RDR library does not available", kNoRandom[] = L"RNDM library does not available";
const struct {
    UINT button;
    const char* function;
    const wchar_t *title, *missing;
} kOpeners[] = {{IDC_HARDWARE_READERS, "rdr_wnd_configure", L"Private key readers", kNoReaders},
                {IDC_HARDWARE_CARRIERS, "rdr_media_wnd_configure", L"Key carrier types", kNoReaders},
                {IDC_HARDWARE_RANDOM, "rndm_wnd_configure", L"Random number generators", kNoRandom}};

using HardwarePage = SettingsPageTest<CPropPageConfigCSPHardware>;

// As in a new process, where neither library is loaded.
void ForgetLibraries() {
    for (ProductLibrary* library : {&Caches().readers, &Caches().random}) std::destroy_at(library);
    std::construct_at(&Caches().readers, L"kvrdr.dll");
    std::construct_at(&Caches().random, L"kvrndm.dll");
    for (const wchar_t* name : {L"kvrdr.dll", L"kvrndm.dll"})
        if (const HMODULE library = GetModuleHandleW(name)) FreeLibrary(library);
}

auto Click(UINT button) {  // posted, since a window may open
    return [=](HWND sheet) { PostMessageW(GetDlgItem(Ui::Page(sheet), static_cast<int>(button)), BM_CLICK, 0, 0); };
}

TEST_F(HardwarePage, OpensEachWindowAboveItself) {
    HWND sheet = nullptr;
    std::vector<ModalScript::Step> steps{[&](HWND window) { sheet = window; }};
    for (const auto& opener : kOpeners) {
        steps.emplace_back(Click(opener.button));
        steps.emplace_back([&](HWND window) {
            EXPECT_EQ(Ui::Text(window), opener.title);
            EXPECT_EQ(GetWindow(window, GW_OWNER), sheet);
            PostMessageW(window, WM_CLOSE, 0, 0);
        });
    }
    Run(steps);
    for (const auto& opener : kOpeners) {  // what an older library lacks is not told
        const LibraryFunction lacking(opener.function, nullptr);
        Run({Click(opener.button), [](HWND window) { EXPECT_EQ(Ui::PageCount(window), 1); }});
        EXPECT_EQ(boxes, Texts());
    }
}

HWND parents[3];  // as the libraries' functions are given them
template <int index>
DWORD Configure(const ReaderWindowRequest* request) {
    return parents[index] = request->size == 16 ? request->parent : nullptr, ERROR_GEN_FAILURE;  // its own affair
}

TEST_F(HardwarePage, LoadsEachLibraryOnceOrTellsThatItIsMissing) {
    const auto note = +[](HWND parent) { return parents[2] = parent, DWORD{0}; };
    const LibraryFunction readers("rdr_wnd_configure", &Configure<0>),
        carriers("rdr_media_wnd_configure", &Configure<1>), random("rndm_wnd_configure", note);
    HWND page = nullptr;
    const auto open = [&] {
        std::ranges::fill(parents, nullptr);
        Run({[&](HWND sheet) {
            page = Ui::Page(sheet);
            for (const auto& opener : kOpeners) Ui::Click(page, opener.button);
        }});
        ForgetLibraries();
    };
    ForgetLibraries();
    const auto complain = [&](const Fault& fault) -> std::string {
        Texts missing;
        for (size_t i = 0; i < std::size(parents); ++i)
            if (parents[i] != page) missing.emplace_back(kOpeners[i].missing);
        if (fault.memory && boxes.empty()) return "";
        return boxes == missing && (missing.empty() || fault.point != Fault::kNone) ? "" : "is not told";
    };
    EXPECT_EQ(Faults("hardware page", open, complain), 4u);  // each library is looked for, and loaded
}

}  // namespace
