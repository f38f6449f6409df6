#include "csp/ContainerExtensionEnum.h"

#include <exception>

#include "csp/ContainerExtensions.h"
#include "csp/ExtensionRecord.h"
#include "csp/FirstFailure.h"

namespace {

constexpr std::size_t kMostRecords = 0x0FFFFFFF;

}  // namespace

bool ATL2::CContainerExtensionEnum::OnRawRecord(const BYTE*, DWORD) {
    return true;
}

bool ATL2::CContainerExtensionEnum::OnExtension(const BYTE*, const char*, DWORD, DWORD) {
    return true;
}

HRESULT EnumContainerExtensions(HCRYPTPROV container, ATL2::CContainerExtensionEnum& extensions) {
    ContainerExtensions records(container, ContainerExtensions::Room::Largest);
    const Outcome begun = records.Begin();
    if (!begun.done) return IsCode(begun.error, ERROR_NO_MORE_ITEMS) ? S_OK : ResultOf(begun);
    while (const auto bytes = records.Next()) {
        const auto record = ReadExtensionRecord(bytes->data(), bytes->size());
        if (!record) return HRESULT_FROM_WIN32(ERROR_INVALID_DATA);
        if (!extensions.OnRawRecord(bytes->data(), static_cast<DWORD>(bytes->size())) ||
            !extensions.OnExtension(record->value.data(), record->identifier.data(),
                                    static_cast<DWORD>(record->value.size()), record->critical))
            return S_OK;
    }
    return IsCode(records.End().error, ERROR_NO_MORE_ITEMS) ? S_OK : ResultOf(records.End());
}

// Room for one record, then for twice as many each time.
bool Vestra::CSaveContainerExtensionsEnum::OnRawRecord(const BYTE* record, DWORD length) {
    try {
        const std::size_t capacity = records_->capacity();
        if (records_->size() == capacity) {
            const std::size_t doubled = capacity ? 2 * capacity : 1;
            failed_ = doubled > kMostRecords;
            if (failed_) return false;
            records_->reserve(doubled);
        }
        records_->emplace_back(record, record + length);
        return true;
    } catch (const std::exception&) {  // no memory
        failed_ = true;
        return false;
    }
}
