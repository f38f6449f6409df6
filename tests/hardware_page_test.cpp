// The Hardware page as a real window: the windows of the product's libraries, and what is done without them.
#include "pages/PropPageConfigCSPHardware.h"

#include "applet/services/DeviceLibraries.h"
#include "applet/services/ProcessCaches.h"
#include "tests/support/SettingsPage.h"

namespace {

constexpr wchar_t kNoReaders[] = L"RDR library does not available", kNoRandom[] = L"RNDM library does not available";
const std::pair<UINT, const wchar_t*> kOpeners[] = {
    {IDC_HARDWARE_READERS, kNoReaders}, {IDC_HARDWARE_CARRIERS, kNoReaders}, {IDC_HARDWARE_RANDOM, kNoRandom}};

using HardwarePage = SettingsPageTest<CPropPageConfigCSPHardware>;

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
            for (const auto& [button, message] : kOpeners) Ui::Click(page, button);
        }});
        ForgetLibraries();
    };
    ForgetLibraries();
    const auto complain = [&](const Fault& fault) -> std::string {
        Texts missing;
        for (size_t i = 0; i < std::size(parents); ++i)
            if (parents[i] != page) missing.emplace_back(kOpeners[i].second);
        if (fault.memory && boxes.empty()) return "";
        return boxes == missing && (missing.empty() || fault.point != Fault::kNone) ? "" : "is not reported";
    };
    EXPECT_EQ(Faults("hardware page", open, complain), 4u);  // each library is looked for, and loaded
}

}  // namespace
