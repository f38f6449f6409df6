// The built panel as the shell gets it: what the file is, and what it does when its surroundings are not as they
// should be. Each test loads the file itself.

#include <cpl.h>

#include "framework/Handles.h"
#include "resources/resource.h"
#include "tests/support/Directory.h"
#include "tests/support/HandleCounts.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using Entry = LONG(APIENTRY*)(HWND, UINT, LPARAM, LPARAM);

class Panel {
  public:
    explicit Panel(const std::wstring& path) : module_(LoadLibraryW(path.c_str())) {
        entry_ = reinterpret_cast<Entry>(reinterpret_cast<void*>(GetProcAddress(module_.get(), "CPlApplet")));
        if (entry_) Send(CPL_INIT);
    }
    ~Panel() {
        if (entry_) Send(CPL_EXIT);
    }
    LONG Send(UINT message) { return entry_(nullptr, message, 0, 0); }

  private:
    UniqueModule module_;
    Entry entry_ = nullptr;
};

const std::wstring kPanel = ProgramDirectory() + L"vestra.cpl";

// The wizards that other programs can open, and their captions.
constexpr std::pair<const char*, const wchar_t*> kWizards[] = {
    {"WizChangePassword", L"Change password for private key container"},
    {"WizDeleteContainer", L"Delete private key container"},
    {"WizInstallPrivateCertificate", L"Private certificate installation wizard"},
    {"WizViewCertificateInContainer", L"Certificates in private key container"}};

// The file with the code of the window's class.
std::wstring ClassModule(HWND window) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(GetClassLongPtrW(window, GCLP_WNDPROC)), &module);
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(module, path, MAX_PATH);
    return path;
}

TEST(Module, BindsToCommonControlsSix) {
    Panel panel(kPanel);
    std::wstring controls;
    const ModalScript script({[&](HWND sheet) { controls = ClassModule(PropSheet_GetTabControl(sheet)); }});
    panel.Send(CPL_DBLCLK);
    EXPECT_NE(controls.find(L"microsoft.windows.common-controls"), controls.npos) << testing::PrintToString(controls);
}

TEST(Module, OpensItsWizardsForOtherPrograms) {
    const StoredNumber language(L"\\local\\Language", 1033);
    const UniqueModule module(LoadLibraryW(kPanel.c_str()));
    for (const auto& [name, caption] : kWizards) {
        const auto wizard =
            reinterpret_cast<void(APIENTRY*)(HWND)>(reinterpret_cast<void*>(GetProcAddress(module.get(), name)));
        ASSERT_NE(wizard, nullptr) << name;
        std::wstring shown;
        ModalScript script({[&](HWND sheet) { shown = Ui::Text(sheet); }});
        wizard(nullptr);
        EXPECT_EQ(shown, caption) << name;
    }
}

// In a directory of its own, with another library under the support library's name.
TEST(Module, OpensWithoutItsSupportLibrary) {
    const TemporaryDirectory directory;
    const std::wstring path = directory.Path() + L"vestra.cpl", library = directory.Path() + L"kvsuprt.dll";
    CopyFileW(kPanel.c_str(), path.c_str(), FALSE);
    CopyFileW((ProgramDirectory() + L"kvcsp.dll").c_str(), library.c_str(), FALSE);
    Panel panel(path);
    const ModalScript script({[](HWND sheet) {
        EXPECT_EQ(TabCtrl_GetItemCount(PropSheet_GetTabControl(sheet)), 8);
        EXPECT_FALSE(Ui::Enabled(Ui::Page(sheet), IDC_GENERAL_USER_LANGUAGE));
        EXPECT_FALSE(Ui::ApplyEnabled(sheet));
    }});
    EXPECT_EQ(panel.Send(CPL_DBLCLK), 0);
    EXPECT_TRUE(script.Finished());
    EXPECT_TRUE(script.Boxes().empty());
    // The library stays loaded by design; the directory could not be removed.
    while (const HMODULE loaded = GetModuleHandleW(library.c_str())) FreeLibrary(loaded);
}

TEST(Module, LoadedAndUnloadedItLeavesNothingBehind) {
    // Hosts have the common controls loaded; Wine's leave a GDI object behind each time they are unloaded.
    UniqueModule controls;
    const auto round = [&] {
        Panel panel(kPanel);
        ModalScript script({[&](HWND sheet) {
            if (!controls) controls.reset(LoadLibraryW(ClassModule(PropSheet_GetTabControl(sheet)).c_str()));
        }});
        panel.Send(CPL_DBLCLK);
    };
    round();
    EXPECT_EQ(GetModuleHandleW(L"vestra.cpl"), nullptr);
    ExpectNothingLeftBehind(round);
}

}  // namespace
