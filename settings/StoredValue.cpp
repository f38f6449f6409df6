#include "settings/StoredValue.h"

#include "applet/services/SupportLibrary.h"

int ReadRawValue(const StoredForm& form) noexcept {
    if (form.form == FlagForm::InvertedBool) {
        BOOL opposite = form.missing == 0;
        support_registry_get_bool(form.path, &opposite);  // leaves `opposite` as it was on failure
        return opposite ? 0 : 1;
    }
    return FindLong(form.path, form.missing);
}

int ReadStoredValue(const StoredForm& form) noexcept {
    const int value = ReadRawValue(form);
    if (form.isFlag) return form.form == FlagForm::Positive ? value > 0 : value != 0;
    return value >= form.range.least && value <= form.range.most ? value : form.missing;
}

Result<> WriteStoredValue(const StoredForm& form, int value) noexcept {
    if (form.form == FlagForm::InvertedBool) return TryCode(support_registry_put_bool(form.path, value == 0));
    return TryCode(support_registry_put_long(form.path, value));
}
