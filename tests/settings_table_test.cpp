// The settings that one control shows and one value of the configuration store keeps, each on its page.
#include "pages/PropPageConfigCSPSecurity.h"
#include "pages/PropPageConfigTLS.h"
#include "pages/PropPageConfigWLReaders.h"
#include "tests/support/SettingsPage.h"

namespace {

struct Value {
    Stored stored;
    std::wstring shown;
};
// The first of the values that are written is stored when a test begins.
struct Form {
    std::vector<Value> read;  // what is never written
    std::vector<Value> written;
    bool asksForRestart = false;
};

const Form kSwitch = {{{{}, L"off"}, {-1, L"on"}}, {{0, L"off"}, {1, L"on"}}, true};
const Form kAboveZero = {{{{}, L"off"}, {-1, L"off"}, {7, L"on"}}, {{0, L"off"}, {1, L"on"}}};
const Form kOpposite = {{{{}, L"on"}}, {{0, L"on"}, {1, L"off"}}};
const Form kSessions = {{{{}, L"64"}, {-1, L"64"}, {65537, L"64"}}, {{0, L"0"}, {65536, L"65536"}}};
const Form kAuthorities = {{{{}, L"100"}, {-1, L"100"}, {1000, L"100"}}, {{0, L"0"}, {999, L"999"}}};

enum Page { kSecurity, kWinlogon, kTls };

const std::wstring kParameters = L"\\config\\Parameters";

const struct Row {
    Page page;
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
        for (const Row& row : kRows) numbers.emplace_back(row.Path(), row.form.written.front().stored);
    }
    void Set(const Row& row, const Value& to) const { numbers.at(size_t(&row - kRows)).Set(to.stored); }
    void Run(Page page, Steps steps, int restart = IDNO) {
        CPropPageConfigCSPSecurity security;
        CPropPageConfigWLReaders winlogon;
        CPropPageConfigTLS tls;
        CPropertyPage* const pages[] = {&security, &winlogon, &tls};
        RunPage(*pages[page], std::move(steps), {restart});
    }
    // Opens each page once and calls `look` for its rows.
    void LookAtAll(const std::function<void(HWND page, const Row& row)>& look) {
        for (const Page page : {kSecurity, kWinlogon, kTls}) {
            Run(page, {[&](HWND sheet) {
                    for (const Row& row : kRows) {
                        SCOPED_TRACE(testing::PrintToString(row.Path()));
                        if (row.page == page) look(Ui::Page(sheet), row);
                    }
                }});
        }
    }
    std::vector<Stored> AllStored() const {
        std::vector<Stored> all;
        for (const StoredNumber& number : numbers) all.push_back(number.Get());
        return all;
    }

    std::deque<StoredNumber> numbers;  // in the order of the rows
    const ImportPatch version{"GetVersion", &OldVersion};
};

TEST_F(SettingsTable, AreShownAsTheyAreStored) {
    for (const size_t position : {0, 1, 2}) {
        const auto read = [=](const Row& row) { return row.form.read.at(position % row.form.read.size()); };
        for (const Row& row : kRows) Set(row, read(row));
        const std::vector<Stored> stored = AllStored();
        LookAtAll([&](HWND page, const Row& row) {
            EXPECT_EQ(Shown(page, row.control), read(row).shown);
            EXPECT_FALSE(Ui::ApplyEnabled(GetParent(page)));
        });
        EXPECT_EQ(AllStored(), stored) << "showing them changes nothing";
    }
}

// A restart that is refused is reported, although the value is written.
TEST_F(SettingsTable, AreWrittenWhenTheyWereChanged) {
    Restart::refused = L"privilege";
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::PrintToString(row.Path()));
        const auto& values = row.form.written;
        for (const Value& value : values) {
            const bool first = &value == values.data();
            const Value& before = first ? values.back() : values.front();
            Set(row, value);
            const std::vector<Stored> wanted = AllStored();
            Set(row, before);
            const auto change = [&](HWND sheet) {
                EXPECT_EQ(Shown(Ui::Page(sheet), row.control), before.shown);
                for (const Value& chosen : {value, before, value}) {
                    Choose(Ui::Page(sheet), row.control, chosen.shown);
                    EXPECT_EQ(Ui::ApplyEnabled(sheet), chosen.stored == value.stored) << chosen.shown;
                }
                Ui::Press(sheet, PSBTN_OK);
            };
            Run(row.page, {change}, first ? IDNO : IDYES);
            const Texts answered = first ? Texts{kRestartQuestion} : Texts{kRestartQuestion, kSaveFailed};
            EXPECT_EQ(boxes, row.form.asksForRestart ? answered : Texts{});
            EXPECT_EQ(AllStored(), wanted) << "this value, and no other";
        }
        Set(row, values.front());
    }
}

TEST_F(SettingsTable, CanNotBeChangedWithoutTheRight) {
    const Denied denied(kParameters);
    LookAtAll([&](HWND page, const Row& row) {
        const HWND control = GetDlgItem(page, static_cast<int>(row.control));
        const bool isBox = (SendMessageW(control, WM_GETDLGCODE, 0, 0) & DLGC_BUTTON) != 0;
        EXPECT_FALSE(Ui::Enabled(page, row.control));
        EXPECT_EQ(Ui::TipBehind(page, row.control), kOnlyAdministrators);
        for (const UINT neighbour : {GW_HWNDPREV, GW_HWNDNEXT})
            EXPECT_EQ(IsWindowEnabled(isBox ? control : GetWindow(control, neighbour)), FALSE) << "label, arrows";
    });
}

}  // namespace
