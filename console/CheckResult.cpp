#include "console/CheckResult.h"

#include <algorithm>
#include <iterator>

#include "console/Describe.h"
#include "csp/ContainerCheck.h"
#include "framework/Text.h"
#include "resources/resource.h"

namespace {

class Collector final : public CheckRows {
  public:
    explicit Collector(Session& session) : session_(session) {}

    std::vector<CheckRow> Take() { return std::move(rows_); }

  private:
    void Insert(Place place, CheckRow row) override {
        rows_.insert(place == Place::Top ? rows_.begin() : rows_.end(), std::move(row));
        if (place == Place::End && session_.Cancelled()) throw CheckCancelled();
    }

    Session& session_;
    std::vector<CheckRow> rows_;
};

struct RowName {
    UINT id;
    const wchar_t* name;
};
constexpr RowName kRowNames[] = {
    {IDS_CHECK_SUCCEEDED, L"verdict"},
    {IDS_CHECK_FAILED, L"verdict"},
    {IDS_CONTAINER, L"container"},
    {IDS_CHECK_NAME, L"name"},
    {IDS_CHECK_UNIQUE_NAME, L"uniqueName"},
    {IDS_CHECK_QUALIFIED_NAME, L"qualifiedName"},
    {IDS_CHECK_INTEGRITY, L"integrity"},
    {IDS_CHECK_EXCHANGE_KEY, L"exchangeKey"},
    {IDS_CHECK_SIGNATURE_KEY, L"signatureKey"},
    {IDS_CHECK_PUBLIC_KEY_EXPORT, L"publicKeyExport"},
    {IDS_CHECK_PUBLIC_KEY_IMPORT, L"publicKeyImport"},
    {IDS_CHECK_SIGNING, L"signing"},
    {IDS_CHECK_VERIFYING, L"verifying"},
    {IDS_CHECK_AGREEMENT, L"agreement"},
    {IDS_CHECK_KEY_EXPORT, L"keyExport"},
    {IDS_CHECK_ALGORITHM, L"algorithm"},
    {IDS_CHECK_CERTIFICATE_IN_CONTAINER, L"certificateInContainer"},
    {IDS_CHECK_CERTIFICATE_IN_STORE, L"certificateInStore"},
    {IDS_CERTIFICATE_NAME, L"certificateName"},
    {IDS_CERTIFICATE_SUBJECT, L"subject"},
    {IDS_CERTIFICATE_ISSUER, L"issuer"},
    {IDS_CERTIFICATE_VALID_FROM, L"validFrom"},
    {IDS_CERTIFICATE_VALID_TO, L"validTo"},
    {IDS_CERTIFICATE_KEY_FROM, L"keyValidFrom"},
    {IDS_CERTIFICATE_KEY_TO, L"keyValidTo"},
    {IDS_CERTIFICATE_SERIAL_NUMBER, L"serialNumber"},
    {IDS_CHECK_USAGE_PERIOD, L"usagePeriod"},
    {IDS_CHECK_KEYS_LOADING, L"keysLoading"},
    {IDS_CHECK_EXTENSIONS, L"extensions"},
    {IDS_CHECK_CRITICAL, L"criticalExtension"},
    {IDS_CHECK_NONCRITICAL, L"noncriticalExtension"},
};

// Rows that continue the one before have no name of their own.
Value NameOf(UINT id) {
    const auto* found =
        std::find_if(std::begin(kRowNames), std::end(kRowNames), [=](const RowName& row) { return row.id == id; });
    return found != std::end(kRowNames) ? Value(found->name) : Value();
}

const wchar_t* MarkName(CheckMark mark) {
    switch (mark) {
        case CheckMark::Succeeded: return L"succeeded";
        case CheckMark::Failed: return L"failed";
        case CheckMark::Note: return L"note";
        default: return L"none";
    }
}

Value RowValue(const CheckRow& row) {
    Value value;
    value.Add(L"row", NameOf(row.id)).Add(L"mark", MarkName(row.mark));
    value.Add(L"label", row.label).Add(L"value", row.value);
    if (row.error) value.Add(L"error", FailureValue({row.error}));
    return value;
}

}  // namespace

std::optional<CheckResult> RunCheck(HCRYPTPROV container, KeySet keySet, Session& session) {
    Collector collector(session);
    try {
        CheckResult result;
        result.passed = CheckContainer(container, keySet, collector);
        result.rows = collector.Take();
        return result;
    } catch (const CheckCancelled&) {
        return {};
    }
}

void ShowCheck(const std::wstring& name, const CheckResult& result, Output& output) {
    if (output.IsJson()) return;
    constexpr std::size_t kLabelWidth = 32;
    output.Line(VisibleText(name));
    for (const CheckRow& row : result.rows) {
        std::wstring line = L"  " + row.label;
        if (!row.value.empty()) line.append(kLabelWidth - std::min(kLabelWidth - 1, line.size()), L' ');
        output.Line(line + row.value);
    }
    output.Line(L"");
}

Value CheckValue(const ContainerPlace& place, const CheckResult& result) {
    Value rows = Value::Array();
    for (const CheckRow& row : result.rows) rows.Append(RowValue(row));
    return PlaceValue(place).Add(L"passed", result.passed).Add(L"rows", std::move(rows));
}
