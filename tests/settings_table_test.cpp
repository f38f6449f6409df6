// The settings that one control shows and one value of the configuration store keeps, each on its page. A new setting
// is one more row.
#include <memory>

#include "pages/PropPageConfigCSPSecurity.h"
#include "pages/PropPageConfigTLS.h"
#include "pages/PropPageConfigWLReaders.h"
#include "tests/support/SettingsPage.h"

namespace {

// How values are shown. `Written` values must differ from each other; the first one is stored when a test begins.
struct Form {
    struct Read {
        Stored stored;
        std::wstring shown;
    };
    struct Written {
        std::wstring chosen;
        Stored stored;
    };
    std::vector<Read> read;        // what is never written
    std::vector<Written> written;  // and shown in the same way
    bool asksForRestart = false;
};

const Form kSwitch = {{{{}, L"off"}, {-1, L"on"}}, {{L"off", 0}, {L"on", 1}}, true};
const Form kAboveZero = {{{{}, L"off"}, {-1, L"off"}, {7, L"on"}}, {{L"off", 0}, {L"on", 1}}};
const Form kOpposite = {{{{}, L"on"}}, {{L"on", 0}, {L"off", 1}}};
const Form kSessions = {{{{}, L"64"}, {-1, L"64"}, {65537, L"64"}}, {{L"0", 0}, {L"65536", 65536}}};
const Form kAuthorities = {{{{}, L"100"}, {-1, L"100"}, {1000, L"100"}}, {{L"0", 0}, {L"999", 999}}};
using NewPage = std::unique_ptr<CPropertyPage>();
template <class Page>
std::unique_ptr<CPropertyPage> New() {
    return std::make_unique<Page>();
}
constexpr NewPage* kSecurity = &New<CPropPageConfigCSPSecurity>;
constexpr NewPage* kTls = &New<CPropPageConfigTLS>;
constexpr NewPage* kWinlogon = &New<CPropPageConfigWLReaders>;

const std::wstring kParameters = L"\\config\\Parameters";

const struct Row {
    NewPage* page;
    UINT control;
    const wchar_t* name;  // of the value
    const Form& form;

    std::wstring Path() const { return kParameters + L"\\" + name; }
} kRows[] = {
    {kSecurity, IDC_SECURITY_SAVE_MEDIA, L"DisableShortcuts", kOpposite},
    {kWinlogon, IDC_WINLOGON_DISABLE, L"DisableWL", kAboveZero},
    {kTls, IDC_TLS_CLIENT_OCSP, L"tls_client_use_ocsp_extensions", kSwitch},
    {kTls, IDC_TLS_CLIENT_NO_REVOCATION, L"tls_client_disable_revocation_check", kSwitch},
    {kTls, IDC_TLS_CLIENT_NO_EKU, L"tls_client_disable_self_certificate_usage_validation", kSwitch},
    {kTls, IDC_TLS_CLIENT_NO_LEGACY, L"tls_client_disable_legacy_cipher_suites", kSwitch},
    {kTls, IDC_TLS_SERVER_OCSP, L"tls_server_use_ocsp_extensions", kSwitch},
    {kTls, IDC_TLS_SERVER_NO_REVOCATION, L"tls_server_disable_revocation_check", kSwitch},
    {kTls, IDC_TLS_SERVER_NO_EKU, L"tls_server_disable_self_certificate_usage_validation", kSwitch},
    {kTls, IDC_TLS_SERVER_NO_LEGACY, L"tls_server_disable_legacy_cipher_suites", kSwitch},
    {kTls, IDC_TLS_SERVER_RENEGOTIATION, L"tls_server_use_renegotiation_info_extension", kSwitch},
    {kTls, IDC_TLS_SERVER_REQUIRE_RENEGOTIATION, L"tls_server_require_renegotiation_info_extension", kSwitch},
    {kTls, IDC_TLS_SERVER_MACHINE_CREDENTIAL, L"tls_server_use_default_machine_credential", kSwitch},
    {kTls, IDC_TLS_SESSIONS, L"tls_server_max_sessions", kSessions},
    {kTls, IDC_TLS_CAS, L"tls_server_max_certificate_request_cas", kAuthorities},
};

// As a user does.
void Choose(HWND page, UINT control, const std::wstring& value) {
    if (value != L"on" && value != L"off") {
        Ui::Type(page, control, value.c_str());
    } else if (Shown(page, control) != value) {
        Ui::Click(page, control);
    }
}

// Windows too old for the module whose registration would hide failures.
DWORD WINAPI OldVersion() {
    return 5;
}

class SettingsTable : public SettingsTest {
  protected:
    SettingsTable() {
        for (const Row& row : kRows)
            numbers.push_back(std::make_unique<StoredNumber>(row.Path(), row.form.written.front().stored));
    }
    void ForEachRow(const std::function<void(const Row& row, const StoredNumber& number)>& test) {
        for (size_t i = 0; i < std::size(kRows); ++i) {
            SCOPED_TRACE(testing::PrintToString(kRows[i].Path()));
            test(kRows[i], *numbers[i]);
            numbers[i]->Set(kRows[i].form.written.front().stored);
        }
    }
    void Run(const Row& row, std::vector<ModalScript::Step> steps) {
        const auto page = row.page();
        RunPage(*page, std::move(steps), {IDNO, IDNO});
    }
    std::vector<Stored> AllStored() const {
        std::vector<Stored> all;
        for (const auto& number : numbers) all.push_back(number->Get());
        return all;
    }

    std::vector<std::unique_ptr<StoredNumber>> numbers;  // in the order of the rows
    const ImportPatch version{nullptr, "GetVersion", &OldVersion};
};

TEST_F(SettingsTable, AreShownAsTheyAreStored) {
    ForEachRow([&](const Row& row, const StoredNumber& number) {
        for (const Form::Read& read : row.form.read) {
            number.Set(read.stored);
            Run(row, {[&](HWND sheet) {
                    EXPECT_EQ(Shown(Ui::Page(sheet), row.control), read.shown) << testing::PrintToString(read.stored);
                    EXPECT_FALSE(Ui::ApplyEnabled(sheet));
                }});
            EXPECT_EQ(number.Get(), read.stored) << "showing it changes nothing";
        }
    });
}

TEST_F(SettingsTable, AreWrittenWhenTheyWereChanged) {
    ForEachRow([&](const Row& row, const StoredNumber& number) {
        const auto& values = row.form.written;
        for (const Form::Written& value : values) {
            const Form::Written& before = &value == &values[0] ? values.back() : values.front();
            number.Set(value.stored);
            const std::vector<Stored> wanted = AllStored();
            number.Set(before.stored);
            Run(row, {[&](HWND sheet) {
                    EXPECT_EQ(Shown(Ui::Page(sheet), row.control), before.chosen);
                    for (const Form::Written& chosen : {value, before, value}) {
                        Choose(Ui::Page(sheet), row.control, chosen.chosen);
                        EXPECT_EQ(Ui::ApplyEnabled(sheet), chosen.stored == value.stored) << chosen.chosen;
                    }
                    Ui::Press(sheet, PSBTN_OK);
                }});
            EXPECT_EQ(boxes, row.form.asksForRestart ? Texts{kRestartQuestion} : Texts{});
            EXPECT_EQ(AllStored(), wanted) << "this value, and no other";
        }
    });
}

TEST_F(SettingsTable, CanNotBeChangedWithoutTheRight) {
    ForEachRow([&](const Row& row, const StoredNumber&) {
        const Denied denied(kParameters);
        Run(row, {[&](HWND sheet) {
                const HWND page = Ui::Page(sheet), control = GetDlgItem(page, static_cast<int>(row.control));
                const bool isBox = (SendMessageW(control, WM_GETDLGCODE, 0, 0) & DLGC_BUTTON) != 0;
                EXPECT_FALSE(Ui::Enabled(page, row.control));
                EXPECT_EQ(Ui::TipBehind(page, row.control), kOnlyAdministrators);
                EXPECT_EQ(IsWindowEnabled(isBox ? control : GetWindow(control, GW_HWNDPREV)), FALSE) << "the label";
                EXPECT_FALSE(Ui::ApplyEnabled(sheet));
            }});
    });
}

// The right is withdrawn while the page is open.
TEST_F(SettingsTable, StayModifiedAndAreReportedWhenTheyCanNotBeWritten) {
    ForEachRow([&](const Row& row, const StoredNumber& number) {
        std::optional<Denied> denied;
        Run(row, {[&](HWND sheet) {
                      Choose(Ui::Page(sheet), row.control, row.form.written[1].chosen);
                      denied.emplace(kParameters);
                      Ui::Press(sheet, PSBTN_OK);
                  },
                  Modified(true)});
        EXPECT_EQ(boxes, Texts{kSaveFailed});
        EXPECT_EQ(number.Get(), row.form.written[0].stored);
    });
}

}  // namespace
