// The Hardware page as a real window: the windows of the product's libraries, and what is done without them.
#include "pages/PropPageConfigCSPHardware.h"

#include <memory>

#include "applet/services/DeviceLibraries.h"
#include "applet/services/ProcessCaches.h"
#include "tests/support/SettingsPage.h"

namespace {

constexpr wchar_t kNoReaders[] = L"RDR library does not available", kNoRandom[] = L"RNDM library does not available";
const struct {
    UINT button;
    const wchar_t *title, *missing;  // of its window; the message without its library
} kOpeners[] = {{IDC_HARDWARE_READERS, L"Private key readers", kNoReaders},
                {IDC_HARDWARE_CARRIERS, L"Key carrier types", kNoReaders},
                {IDC_HARDWARE_RANDOM, L"Random number generators", kNoRandom}};

using HardwarePage = SettingsPageTest<CPropPageConfigCSPHardware>;

TEST_F(HardwarePage, OpensEachWindowAboveItself) {
    HWND sheet = nullptr;
    Steps steps{[&](HWND window) { sheet = window; }};
    for (const auto& opener : kOpeners) {
        steps.emplace_back([&](HWND window) {  // posted, since it opens a window
            PostMessageW(GetDlgItem(Ui::Page(window), static_cast<int>(opener.button)), BM_CLICK, 0, 0);
        });
        steps.emplace_back([&](HWND window) {
            EXPECT_EQ(Ui::Text(window), opener.title);
            EXPECT_EQ(GetWindow(window, GW_OWNER), sheet);
            PostMessageW(window, WM_CLOSE, 0, 0);
        });
    }
    Run(steps);
}

// As in a new process, where neither library is loaded.
void ForgetLibraries() {
    for (ProductLibrary* library : {&Caches().readers, &Caches().random}) std::destroy_at(library);
    std::construct_at(&Caches().readers, L"kvrdr.dll");
    std::construct_at(&Caches().random, L"kvrndm.dll");
    for (const wchar_t* name : {L"kvrdr.dll", L"kvrndm.dll"})
        if (const HMODULE library = GetModuleHandleW(name)) FreeLibrary(library);
}

HWND parents[3];  // as the libraries' functions receive them
template <int index>
DWORD Configure(const ReaderWindowRequest* request) {
    return parents[index] = request->size == 16 ? request->parent : nullptr, ERROR_GEN_FAILURE;  // not reported
}

TEST_F(HardwarePage, LoadsEachLibraryOnceOrReportsThatItIsMissing) {
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
        return boxes == missing && (missing.empty() || fault.point != Fault::kNone) ? "" : "is not reported";
    };
    EXPECT_EQ(Faults("hardware page", open, complain), 4u);  // each library is looked for, and loaded
}

}  // namespace
