// The carriers, and the libraries of readers, random numbers and the CNG module, through their exports and resources.
#include <windows.h>
#include <commctrl.h>

#include <gtest/gtest.h>

#include "softcsp/common/Carriers.h"
#include "softcsp/common/Store.h"
#include "softcsp/common/Settings.h"
#include "softcsp/common/Names.h"
#include "softcsp/kvrdr.h"
#include "softcsp/dialogs/resource.h"
#include "softcsp/kvrndm.h"
#include "tests/support/Directory.h"
#include "tests/support/ModalScript.h"
#include "tests/support/Store.h"

namespace {

using namespace softcsp;

// A function of one of the libraries, which stay loaded.
template <class Function>
Function* In(const wchar_t* library, const char* name) {
    const HMODULE module = LoadLibraryW((ProgramDirectory() + library).c_str());
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// Only the registry, as long as the object lives; then the carriers of before again.
class NoCarriers {
  public:
    NoCarriers() { Clear(); }
    ~NoCarriers() {
        Clear();
        for (const Carrier& carrier : before_) AddCarrier(carrier);
    }

  private:
    static void Clear() {
        for (const Carrier& carrier : Carriers()) RemoveCarrier(carrier.name);
    }
    const std::vector<Carrier> before_ = Carriers();
};

// The readers in a line: how they are stored, and how they are shown.
std::wstring Readers(SUPSYS_REGISTRATION& registration) {
    constexpr const wchar_t* library = L"kvsuprt.dll";
    std::wstring all;
    HANDLE search = nullptr, reader = nullptr;
    EXPECT_EQ(In<decltype(supsys_find_open)>(library, "supsys_find_open")(&registration, &search), 0u);
    while (In<decltype(supsys_find_next)>(library, "supsys_find_next")(search, &reader) == 0) {
        for (const char* name : {"supsys_nickname", "supsys_connect_current", "supsys_register_name"}) {
            wchar_t text[65] = L"";
            DWORD length = 64;
            EXPECT_EQ(In<decltype(supsys_nickname)>(library, name)(reader, &length, text), 0u);
            all += text + std::wstring(L"|");
        }
        EXPECT_EQ(In<decltype(supsys_context_free)>(library, "supsys_context_free")(reader), 0u);
    }
    EXPECT_EQ(In<decltype(supsys_nickname)>(library, "supsys_nickname")(search, nullptr, nullptr),
              DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(In<decltype(supsys_find_close)>(library, "supsys_find_close")(search), 0u);
    return all;
}

TEST(SoftcspReaders, AreTheRegistryAndTheCarriersPluggedIn) {
    const NoCarriers none;
    const StoredNumber language(L"\\local\\Language", kRussian);
    In<decltype(support_wnd_language_update)>(L"kvsuprt.dll", "support_wnd_language_update")();
    const auto all = In<decltype(supsys_register_all)>(L"kvsuprt.dll", "supsys_register_all");
    const auto end = In<decltype(supsys_unregister_all)>(L"kvsuprt.dll", "supsys_unregister_all");
    SUPSYS_REGISTRATION registration{sizeof registration, nullptr};
    EXPECT_EQ(all(&registration), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_EQ(In<decltype(rdr_register_start)>(L"kvrdr.dll", "rdr_register_start")(&registration), 0u);
    EXPECT_EQ(Readers(registration), L"");
    EXPECT_EQ(all(&registration), 0u);
    const std::wstring registry = L"REGISTRY||Реестр|";
    EXPECT_EQ(Readers(registration), registry);
    EXPECT_EQ(AddCarrier({.name = L"T-1"}), 0u);
    EXPECT_EQ(Readers(registration), registry + L"DISK|T-1|Диск T-1|");
    EXPECT_EQ(UpdateCarrier({.name = L"T-1", .present = false, .room = 9}), 0u);
    EXPECT_TRUE(Carriers().size() == 2 && !Carriers()[1].present && Carriers()[1].room == 9);
    EXPECT_EQ(Readers(registration), registry);
    EXPECT_EQ(end(&registration, 1), 0u);
    EXPECT_EQ(end(&registration, 1), DWORD{ERROR_INVALID_HANDLE});
    for (const wchar_t* name :
         {L"", L"REGISTRY", L"t", L"A\\B", L"NUL", L"COM1", L"ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567"}) {
        EXPECT_EQ(AddCarrier({.name = name}), DWORD{ERROR_INVALID_NAME}) << name;
        EXPECT_EQ(RemoveCarrier(name), DWORD{ERROR_FILE_NOT_FOUND}) << name;
    }
    EXPECT_EQ(AddCarrier({.name = L"T-1"}), DWORD{ERROR_ALREADY_EXISTS});
    EXPECT_EQ(RemoveCarrier(L"T-1"), 0u);
    EXPECT_EQ(UpdateCarrier({.name = L"T-1"}), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_TRUE(
        ContainerFolder({.name = L"REGISTRY"}, Owner::User, 75).ends_with(L"Local\\Kelvane\\SoftCSP\\REGISTRY\\075\\"));
    EXPECT_TRUE(
        ContainerFolder({.name = L"T"}, Owner::User, 75).ends_with(L"ProgramData\\Kelvane\\SoftCSP\\T\\user\\075\\"));
}

TEST(SoftcspReaders, WindowsStandAboveTheirParentAndChangeTheCarriers) {
    const NoCarriers none;
    const HWND parent =
        CreateWindowW(WC_STATICW, L"", WS_POPUP | WS_VISIBLE, 0, 0, 9, 9, nullptr, nullptr, nullptr, nullptr);
    RDR_WND_REQUEST request{sizeof request, parent};
    const ModalScript::Step close = [=](HWND window) {
        EXPECT_TRUE(GetWindow(window, GW_OWNER) == parent && ListView_GetItemCount(GetDlgItem(window, IDC_LIST)) > 0);
        Ui::Click(window, IDCANCEL);
    };
    const auto press = [](UINT id) { return [id](HWND window) { PostMessageW(window, WM_COMMAND, id, 0); }; };
    {
        ModalScript script({press(IDC_ADD), [](HWND) {},  // a dialog is shown once its messages have run out
                            [](HWND window) {
                                Ui::Type(window, IDC_NAME, L"no name");
                                Ui::Click(window, IDOK);
                                Ui::Type(window, IDC_NAME, L"T-2");
                                Ui::Click(window, IDOK);
                            },
                            press(IDC_EJECT),
                            [](HWND window) {
                                EXPECT_TRUE(Carriers().size() == 2 && !Carriers()[1].present);
                                EXPECT_TRUE(Ui::Enabled(window, IDC_INSERT) && !Ui::Enabled(window, IDC_EJECT));
                            },
                            press(IDC_INSERT), press(IDC_REMOVE), close},
                           {IDOK, IDYES});
        EXPECT_EQ(In<decltype(rdr_wnd_configure)>(L"kvrdr.dll", "rdr_wnd_configure")(&request), 0u);
        EXPECT_TRUE(script.Finished());
        EXPECT_EQ(script.Boxes().size(), 2u) << "a wrong name, and the question before a removal";
        EXPECT_EQ(Carriers().size(), 1u) << "the new carrier was removed";
    }
    const auto types = In<decltype(rdr_media_wnd_configure)>(L"kvrdr.dll", "rdr_media_wnd_configure");
    EXPECT_EQ((ModalScript({close}), types(&request)), 0u);
    EXPECT_EQ((ModalScript({close}), In<decltype(rndm_wnd_configure)>(L"kvrndm.dll", "rndm_wnd_configure")(parent)),
              0u);
    request.size = 8;
    EXPECT_EQ(types(&request), DWORD{ERROR_INVALID_PARAMETER});
    DestroyWindow(parent);
}

TEST(SoftcspCng, RegistersItselfOrFailsAsIsWanted) {
    const auto call = [](const char* name) { return In<HRESULT WINAPI()>(L"kvcng.dll", name)(); };
    const auto registered = [] {
        return RegGetValueW(HKEY_LOCAL_MACHINE, kHomeKey, kCngValue, RRF_RT_REG_DWORD, nullptr, nullptr, nullptr) == 0;
    };
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    WriteSetting(kCngRegisterSetting, static_cast<DWORD>(E_FAIL));
    EXPECT_TRUE(call("DllRegisterServer") == E_FAIL && !registered());
    ClearSetting(kCngRegisterSetting);
    EXPECT_TRUE(call("DllRegisterServer") == S_OK && registered());
    EXPECT_TRUE(call("DllUnregisterServer") == S_OK && !registered());
}

}  // namespace
